#include "platform/macos/MacPlatform.h"

#include <CoreFoundation/CoreFoundation.h>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>

#include "testing/Coverage.h"
#include "tests/platform/macos/doubles/LogDouble.h"
#include "tests/platform/macos/doubles/OnDoubles.h"
#include "tests/platform/macos/doubles/PosixDouble.h"

namespace kelo {
namespace {

using doubles::journal;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::SizeIs;

class MacPlatformTest : public doubles::OnDoubles {
protected:
    std::shared_ptr<const Platform> platform = makePlatform();
};

TEST_F(MacPlatformTest, IgnoresBrokenPipeFileSizeAndTerminalSignals) {
    for (const int signal : {SIGPIPE, SIGXFSZ, SIGTTOU, SIGTTIN, SIGTSTP})
        EXPECT_TRUE(doubles::isIgnored(signal)) << signal;
}

TEST_F(MacPlatformTest, OpensClosedStandardStreamsFirst) {
    doubles::journalFiles(true);
    const auto second = [] {
        for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
            close(descriptor);
        journal().take();
        const auto made = makePlatform();
        const auto calls = journal().take();
        const int next = open("/dev/zero", O_RDONLY);
        const bool isFirst = calls.size() >= 4 && calls[0].starts_with("open /dev/null") &&
                             calls[1].starts_with("open /dev/null") && calls[2].starts_with("open /dev/null") &&
                             calls[3] == "signal 13 ignore";
        saveCoverage();
        _exit(next <= STDERR_FILENO ? 1 : isFirst ? 0 : 2);
    };
    EXPECT_EXIT(second(), ::testing::ExitedWithCode(0), "");
}

TEST_F(MacPlatformTest, UsesTheMacImplementationOfEachSeam) {
    EXPECT_NE(dynamic_cast<DispatchMainQueue*>(&platform->machine.queue), nullptr);
    EXPECT_NE(dynamic_cast<IOKitExchange*>(&platform->machine.exchange), nullptr);
    EXPECT_NE(dynamic_cast<PosixClock*>(&platform->machine.clock), nullptr);
    EXPECT_NE(dynamic_cast<PosixRights*>(&platform->machine.rights), nullptr);
    EXPECT_NE(dynamic_cast<IOKitPowerNotifications*>(&platform->machine.power), nullptr);
    EXPECT_NE(dynamic_cast<IOKitClamshell*>(&platform->machine.clamshell), nullptr);
    EXPECT_NE(dynamic_cast<VnodeFileEvents*>(&platform->files), nullptr);
    EXPECT_NE(dynamic_cast<DispatchSignals*>(&platform->signals), nullptr);
    EXPECT_NE(dynamic_cast<SecuritySigningInformation*>(&platform->signing), nullptr);
}

TEST_F(MacPlatformTest, CreatesLogsAndListenersByName) {
    platform->makeSystemLog("app.kelo.helper", "listener")->write(LogLevel::notice, "text");
    EXPECT_THAT(doubles::logEntries(), ElementsAre(doubles::LogEntry{"app.kelo.helper", "listener", 0, "text"}));
    const auto listener = platform->makeListener("app.kelo.helper");
    EXPECT_THAT(journal().entries(), Contains("NSXPCListener initWithMachServiceName app.kelo.helper"));
}

TEST_F(MacPlatformTest, WallClockCountsSecondsSince1970) {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    EXPECT_NEAR(platform->logOutput.wallClock(), std::chrono::duration<double>(now).count(), 5);
}

TEST_F(MacPlatformTest, RunsTheMainRunLoop) {
    bool hasRun = false;
    platform->machine.queue.post([&] {
        hasRun = true;
        CFRunLoopStop(CFRunLoopGetMain());
    });
    journal().take();
    platform->runMainLoop();
    EXPECT_TRUE(hasRun);
    EXPECT_THAT(journal().take(), ElementsAre("CFRunLoopRun", "CFRunLoopStop main"));
}

TEST_F(MacPlatformTest, WritesToStandardError) {
    EXPECT_EXIT(
        {
            platform->logOutput.writeStandardError("a line for the log\n");
            platform->exit(7);
        },
        ::testing::ExitedWithCode(7), "a line for the log");
}

} // namespace
} // namespace kelo
