#include "platform/macos/VnodeFileEvents.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "tests/platform/macos/doubles/DispatchDouble.h"
#include "tests/platform/macos/doubles/OnDoubles.h"
#include "tests/platform/macos/doubles/PosixDouble.h"

namespace kelo {
namespace {

using doubles::journal;
using doubles::mainLoop;
using ::testing::ElementsAre;

constexpr unsigned long vnodeDelete = 0x1;
constexpr unsigned long vnodeWrite = 0x2;
constexpr unsigned long vnodeAttributes = 0x8;
constexpr unsigned long vnodeRename = 0x20;
constexpr unsigned long vnodeRevoke = 0x40;

class VnodeFileEventsTest : public doubles::OnDoubles {
protected:
    VnodeFileEventsTest() {
        const int descriptor = mkstemp(path.data());
        EXPECT_GE(descriptor, 0);
        close(descriptor);
        doubles::journalFiles(true);
    }
    ~VnodeFileEventsTest() override {
        doubles::journalFiles(false);
        std::filesystem::remove(path);
    }

    VnodeFileEvents files;
    std::string path = std::filesystem::temp_directory_path() / "kelo-vnode-XXXXXX";
    int events = 0;
    std::function<void()> count = [this] { ++events; };
};

TEST_F(VnodeFileEventsTest, WatchesAFileForDeletionRenamingAndRevocation) {
    const auto source = files.watch(path, count);
    EXPECT_THAT(journal().take(),
                ElementsAre("open " + path + " 0x8000", "dispatch_source_create vnode descriptor 0x61",
                            "dispatch_set_context", "dispatch_source_set_event_handler_f",
                            "dispatch_source_set_cancel_handler_f", "dispatch_source_set_registration_handler_f",
                            "dispatch_activate"));
    EXPECT_EQ(doubles::lastSource(), "vnode 0x61 active main");
}

TEST_F(VnodeFileEventsTest, ClosesTheDescriptorInTheCancelHandlerOnly) {
    auto source = files.watch(path, count);
    journal().take();
    source->cancel();
    source->cancel();
    source.reset();
    EXPECT_THAT(journal().take(), ElementsAre("dispatch_source_cancel", "dispatch_release"));
    mainLoop().runFor(0);
    EXPECT_THAT(journal().take(), ElementsAre("cancel handler", "close"));
}

TEST_F(VnodeFileEventsTest, CreatesNoSourceIfTheFileCannotBeOpened) {
    EXPECT_EQ(files.watch(path + "-not", count), nullptr);
    EXPECT_THAT(journal().take(), ElementsAre("open " + path + "-not 0x8000"));
}

TEST_F(VnodeFileEventsTest, ClosesTheDescriptorIfTheSourceCannotBeCreated) {
    doubles::failSourceCreation(true);
    EXPECT_EQ(files.watch(path, count), nullptr);
    EXPECT_THAT(journal().take(),
                ElementsAre("open " + path + " 0x8000", "dispatch_source_create vnode descriptor 0x61", "close"));
}

TEST_F(VnodeFileEventsTest, ReportsOnlyTheThreeKindsOfEvents) {
    const auto source = files.watch(path, count);
    mainLoop().runFor(0);
    for (const auto flag : {vnodeDelete, vnodeRename, vnodeRevoke}) {
        events = 0;
        doubles::sendVnodeEvent(flag);
        mainLoop().runFor(0);
        EXPECT_EQ(events, 1) << flag;
    }
    events = 0;
    doubles::sendVnodeEvent(vnodeWrite | vnodeAttributes | 0x4 | 0x10 | 0x100);
    mainLoop().runFor(0);
    EXPECT_EQ(events, 0);
}

TEST_F(VnodeFileEventsTest, IdentifiesAFileByDeviceAndInode) {
    struct stat status = {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    journal().take();
    const auto identity = files.identify(path);
    ASSERT_TRUE(identity.has_value());
    EXPECT_EQ(identity->device, static_cast<std::int32_t>(status.st_dev));
    EXPECT_EQ(identity->inode, status.st_ino);
    EXPECT_THAT(journal().take(), ElementsAre("stat " + path));
}

TEST_F(VnodeFileEventsTest, FindsOurExecutableByProcessID) {
    doubles::setOwnPath("/Library/PrivilegedHelperTools/app.kelo.helper");
    EXPECT_EQ(files.ownExecutable(), "/Library/PrivilegedHelperTools/app.kelo.helper");
    EXPECT_THAT(journal().take(), ElementsAre("proc_pidpath own 4096"));
}

TEST_F(VnodeFileEventsTest, ReturnsNulloptIfTheSystemDoesNotReportThePath) {
    doubles::setOwnPath(std::nullopt);
    EXPECT_EQ(files.ownExecutable(), std::nullopt);
    doubles::setOwnPath("");
    EXPECT_EQ(files.ownExecutable(), std::nullopt);
}

TEST_F(VnodeFileEventsTest, ReturnsAPathThatFillsTheBuffer) {
    const std::string longest(4096, 'x');
    doubles::setOwnPath(longest);
    EXPECT_EQ(files.ownExecutable(), longest);
}

} // namespace
} // namespace kelo
