#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fstream>
#include <functional>
#include <regex>
#include <string>
#include <thread>

#include "platform/linux/socket/UnixSocket.h"
#include "tests/e2e/EndToEnd.h"

namespace kelo {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

const char* const acceptingOnly = "[NOTICE] listener: Accepting only app.kelo.Kelo signed by ABCDE12345.";
const char* const listening = "[NOTICE] listener: Listening on app.kelo.helper";

/// Returns whether the process has blocked SIGTERM. Until then, the signal would kill it.
bool hasSigtermBlocked(pid_t process) {
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with("SigBlk:"))
            return (std::stoull(line.substr(7), nullptr, 16) >> (SIGTERM - 1U) & 1U) != 0;
    return false;
}

class StartUp : public EndToEnd {};

TEST_F(StartUp, WritesExactlyTwoLinesToStandardError) {
    startEverything();
    const std::regex lines("[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}Z "
                           "\\[NOTICE\\] listener: Accepting only app\\.kelo\\.Kelo signed by ABCDE12345\\.\n"
                           "[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}Z "
                           "\\[NOTICE\\] listener: Listening on app\\.kelo\\.helper\n");
    EXPECT_TRUE(std::regex_match(installation.helper().errors(), lines)) << installation.helper().errors();
    EXPECT_EQ(installation.helper().output(), "");
}

TEST_F(StartUp, SecondHelperReportsTheFirstAndDoesNotAffectIt) {
    startEverything();
    const auto client = startHold();
    const auto second = installation.start(Installation::helperName, {});
    EXPECT_TRUE(waitUntil(
        [&] {
            return second->errors().find(
                       "[ERROR] listener: Couldn't create the listener, so no client can be served until "
                       "restart: another helper is running in this folder.") != std::string::npos;
        },
        10))
        << second->errors();
    EXPECT_TRUE(waitUntil([&] { return hasSigtermBlocked(second->number()); }, 10));
    second->signal(SIGTERM);
    EXPECT_EQ(second->waitForEnd(10), 0);
    EXPECT_THAT(second->errors(), HasSubstr("[NOTICE] service: Handed the fan back on the way out.\n"));
    EXPECT_THAT(second->errors(), HasSubstr(noLink));
    EXPECT_TRUE(installation.isAnyFanManual()) << "the first helper's hold stays in force";
    EXPECT_EQ(installation.run("kelo", {"version"}).status, 0) << "the first helper still serves clients";
}

TEST_F(StartUp, SecondHelperServesClientsAfterTheFirstHasExited) {
    installation.startMac();
    const auto leaving = installation.start(Installation::helperName, {});
    ASSERT_TRUE(waitUntil([&] { return leaving->errors().find(listening) != std::string::npos; }, 10));
    installation.startHelper();
    ASSERT_TRUE(waitUntil(
        [&] {
            return installation.helper().errors().find("another helper is running in this folder") != std::string::npos;
        },
        10));
    leaving->signal(SIGTERM);
    EXPECT_EQ(leaving->waitForEnd(10), 0);
    ASSERT_TRUE(installation.waitForLog(listening));
    const auto client = startHold();
    EXPECT_TRUE(installation.isAnyFanManual());
    installation.helper().signal(SIGTERM);
    expectCleanExit();
    EXPECT_THAT(installation.helperLog(), ::testing::Not(::testing::Contains(noLink)));
}

TEST_F(StartUp, AnotherUserCannotKeepTheHelperFromServing) {
    std::filesystem::permissions(folder.path(), std::filesystem::perms(0755)); // as in an installation
    installation.startMac();
    std::vector<FileDescriptor> locks;
    bool isConnected = false;
    int refusal = 0;
    const auto asStranger = [&refusal](const std::function<void()>& work) {
        std::thread([&] {
            if (syscall(SYS_setresuid, -1, 65534, -1) != 0) // in the kernel, each thread has its own user
                refusal = errno;
            else
                work();
        }).join();
    };
    asStranger([] {});
    if (refusal != 0)
        GTEST_SKIP() << "no process can change its user here: " << std::strerror(refusal);
    asStranger([&] {
        for (const char* path : {"simulated-mac", "simulated-mac/helper.lock"})
            locks.emplace_back(open(installation.program(path).c_str(), O_RDONLY | O_CLOEXEC));
    });
    for (const auto& lock : locks)
        flock(lock.get(), LOCK_EX | LOCK_NB);
    EXPECT_NO_THROW(installation.startListeningHelper());
    asStranger([&] {
        const FileDescriptor directory(open(folder.path().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
        isConnected = unix_socket::connect(directory.get(), "app.kelo.helper.socket").isValid();
    });
    EXPECT_TRUE(isConnected);
}

TEST_F(StartUp, HelperWithFewDescriptorsNeverAborts) {
    if (*KELO_SANITIZE != '\0')
        GTEST_SKIP() << "the sanitizers open additional descriptors";
    installation.startMac();
    std::filesystem::create_symlink("/bin/sh", installation.program("sh"));
    for (int descriptors = 4; descriptors <= 16; ++descriptors) {
        const auto helper =
            installation.start("sh", {"-c", "ulimit -n " + std::to_string(descriptors) + "; exec " +
                                                installation.program(Installation::helperName).string()});
        const auto hasLoggedOrExited = [&] { return !helper->errors().empty() || helper->status().has_value(); };
        EXPECT_TRUE(waitUntil(hasLoggedOrExited, 10)) << descriptors;
        if (!helper->status()) {
            waitUntil([&] { return helper->status() || hasSigtermBlocked(helper->number()); }, 10);
            helper->signal(SIGTERM);
        }
        const auto status = helper->waitForEnd(10);
        EXPECT_EQ(helper->errors().find("isn't signed"), std::string::npos) << descriptors << ": " << helper->errors();
        if (helper->errors().find("error while loading shared libraries") != std::string::npos)
            continue; // main was never reached
        EXPECT_EQ(status, 0) << descriptors << ": " << helper->errors();
    }
}

TEST_F(StartUp, TimeZoneNamingAPipeDoesNotBlockStartUp) {
    installation.startMac();
    const auto pipe = installation.program("zone");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    installation.startHelperBy("/usr/bin/env",
                               {"TZ=:" + pipe.string(), installation.program(Installation::helperName)});
    ASSERT_TRUE(installation.waitForLog(listening));
    EXPECT_EQ(installation.run("kelo", {"version"}).status, 0);
}

TEST_F(StartUp, RefusesAllClientsIfOthersCanReplaceTheAnchor) {
    std::filesystem::permissions(installation.program("simulated-mac/anchor.pub"), std::filesystem::perms(0666));
    startEverything();
    EXPECT_THAT(installation.helperLog(), ElementsAre(acceptingOnly, listening));
    EXPECT_EQ(installation.run("kelo", {"version"}).status, 3);
}

TEST_F(StartUp, RefusesAFolderThatOthersMayEnterUntilItsModeIsFixed) {
    const auto mode = [this](int bits) {
        std::filesystem::permissions(installation.program("simulated-mac"), std::filesystem::perms(bits));
    };
    for (const int bits : {0777, 0701, 0710}) {
        mode(bits);
        const auto mac = installation.run("simmac", {"serve"});
        EXPECT_EQ(mac.status, 1);
        EXPECT_THAT(mac.errors, HasSubstr("others may enter the folder simulated-mac"));
    }
    installation.startHelper();
    ASSERT_TRUE(installation.waitForLog(
        "[ERROR] listener: Couldn't create the listener, so no client can be served until restart: "
        "others may enter the folder simulated-mac; \"chmod 700\" keeps them out."));
    EXPECT_EQ(installation.run("kelo", {"version"}).status, 3);
    mode(0700);
    EXPECT_TRUE(installation.waitForLog(listening));
}

TEST_F(StartUp, ServesClientsIfItCannotFindItsExecutable) {
    installation.startMac();
    // The executable is deleted before the helper starts, as an early update may do.
    const auto nameless = installation.program("nameless");
    std::filesystem::copy_file(installation.program(Installation::helperName), nameless);
    const int executable = open(nameless.c_str(), O_RDONLY);
    ASSERT_GE(executable, 0);
    std::filesystem::remove(nameless);
    installation.startHelperBy("/proc/self/fd/" + std::to_string(executable), {});
    ASSERT_TRUE(installation.waitForLog(listening));
    EXPECT_THAT(installation.helperLog(),
                ElementsAre("[ERROR] listener: Couldn't find our own executable; an update won't "
                            "replace this process until restart.",
                            acceptingOnly, listening));
    EXPECT_EQ(installation.run("kelo", {"version"}).status, 0);
    installation.helper().signal(SIGTERM);
    expectCleanExit();
    close(executable);
}

TEST_F(StartUp, RedirectsClosedStandardStreamsToTheNullDevice) {
    installation.startMac();
    installation.startHelperBy("/bin/sh",
                               {"-c", "exec \"$0\" <&- >&- 2>&-", installation.program(Installation::helperName)});
    ASSERT_TRUE(waitUntil([&] { return installation.run("kelo", {"version"}).status == 0; }, 10));
    const auto descriptors = "/proc/" + std::to_string(installation.helper().number()) + "/fd/";
    for (const auto* const stream : {"0", "1", "2"})
        EXPECT_EQ(std::filesystem::read_symlink(descriptors + stream), "/dev/null") << stream;
    const auto client = startHold();
    EXPECT_TRUE(installation.isAnyFanManual());
    installation.helper().signal(SIGTERM);
    EXPECT_EQ(installation.helper().waitForEnd(10), 0);
    EXPECT_FALSE(installation.isAnyFanManual());
    EXPECT_THAT(installation.helperLog(), IsEmpty());
}

} // namespace
} // namespace kelo
