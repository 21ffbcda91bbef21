#include "simulator/server/HardwareServer.h"

#include <gmock/gmock.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <functional>
#include <thread>

#include "tests/support/MacUnderTest.h"

namespace kelo {
namespace {

using ::testing::IsEmpty;
using ::testing::Not;

class HardwareServerTest : public ::testing::Test {
protected:
    std::string errorOf(const Message& call) const { return mac.call(call).value("error", ""); }
    bool isServing() const { return mac.call({{"call", "show"}}).contains("fans"); }

    MacUnderTest mac;
};

TEST_F(HardwareServerTest, ACallThatIsNoneIsAnsweredWithASentenceAndEndsNothing) {
    const Message calls[] = {
        Message::object(),
        {{"call", 5}},
        {{"call", nullptr}},
        {{"call", "explode"}},
        {{"call", "set"}},
        {{"call", "set"}, {"key", 1}, {"value", "hot"}},
        {{"call", "set"}, {"key", "Temperature"}, {"value", 1}},
        {{"call", "lid"}},
        {{"call", "interfere"}, {"fan", 99}, {"speed", 1000}},
        {{"call", "exchange"}, {"record", Message::binary({1, 2, 3})}},
        {{"call", "fault"}, {"kind", "answer"}, {"result", "much"}},
    };
    for (const auto& call : calls)
        EXPECT_THAT(errorOf(call), Not(IsEmpty())) << call;
    EXPECT_TRUE(isServing());
}

TEST_F(HardwareServerTest, AConnectionRegistersForPowerOnceAndIsNotWaitedForAfterItsEnd) {
    auto link = HardwareLink::connect(mac.folder());
    EXPECT_EQ(link->call({{"call", "registerPower"}}), Message::object());
    EXPECT_TRUE(link->call({{"call", "registerPower"}}).value().contains("error"));
    EXPECT_EQ(mac.call({{"call", "show"}}).at("powerClients"), 1);
    link.reset();
    EXPECT_EQ(mac.call({{"call", "sleep"}}).at("acknowledged"), 0);
}

/// Runs `work` on a thread of somebody without rights: to the kernel, a user belongs to each thread.
void asNobody(const std::function<void()>& work) {
    std::thread([&] {
        constexpr uid_t unchanged = static_cast<uid_t>(-1);
        constexpr uid_t nobody = 65534;
        ASSERT_EQ(syscall(SYS_setresuid, unchanged, nobody, unchanged), 0);
        work();
    }).join();
}

TEST_F(HardwareServerTest, SomebodyWithoutRightsMayLookButNotDrive) {
    if (geteuid() != 0)
        GTEST_SKIP() << "only the superuser can become somebody else";
    asNobody([this] { EXPECT_TRUE(isServing()); });
    const Message drives[] = {
        {{"call", "set"}, {"key", "Tp09"}, {"value", 99}},
        {{"call", "lid"}, {"state", "close"}},
        {{"call", "load"}, {"value", 1}},
        {{"call", "sleep"}},
        {{"call", "wake"}},
        {{"call", "interfere"}, {"fan", 0}, {"speed", 1000}},
        {{"call", "fault"}, {"kind", "fail"}, {"n", 1}},
    };
    asNobody([&] {
        for (const auto& drive : drives)
            EXPECT_EQ(errorOf(drive), "Only whoever runs the simulated Mac can do that.") << drive;
    });
    EXPECT_NE(mac.call({{"call", "show"}}).at("lidClosed"), true);
}

} // namespace
} // namespace kelo
