// Tests in which no process reads the helper's log. The helper must serve and exit without waiting for a reader.

#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <stdexcept>
#include <thread>

#include "testing/FakeLogDaemon.h"
#include "testing/process/UnreadStream.h"
#include "tests/e2e/EndToEnd.h"

namespace kelo {
namespace {

/// Stops every thread of a child process except its first, as if each were stuck, until the process ends.
class StoppedThreads {
public:
    explicit StoppedThreads(pid_t process) {
        for (const auto& task : std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/task")) {
            const auto thread = static_cast<pid_t>(std::stol(task.path().filename()));
            if (thread != process)
                stop(thread);
        }
    }

    std::size_t count() const { return threads_.size(); }

    /// Reaps the threads after the process has ended. Only then does waiting for the process return.
    void reap() const {
        for (const auto thread : threads_)
            waitpid(thread, nullptr, __WALL | WNOHANG);
    }

private:
    void stop(pid_t thread) {
        if (ptrace(PTRACE_SEIZE, thread, nullptr, nullptr) != 0 ||
            ptrace(PTRACE_INTERRUPT, thread, nullptr, nullptr) != 0 || waitpid(thread, nullptr, __WALL) != thread)
            throw std::runtime_error("cannot stop a thread");
        threads_.push_back(thread);
    }

    std::vector<pid_t> threads_;
};

class UnreadLogs : public EndToEnd {
protected:
    void start(const LaunchEnvironment& environment) {
        installation.startMac();
        installation.startHelper(environment);
        const auto socket = installation.program("app.kelo.helper.socket");
        ASSERT_TRUE(waitUntil([&] { return std::filesystem::exists(socket); }, 20));
    }

    /// The listener answers `version`, and the main thread answers `status`.
    void expectService() {
        for (const char* command : {"version", "status"})
            EXPECT_EQ(installation.start("kelo", {command})->waitForEnd(5), 0) << command;
    }

    void expectHandBack(int signal) {
        EXPECT_TRUE(installation.isAnyFanManual());
        installation.helper().signal(signal);
        EXPECT_EQ(installation.helper().waitForEnd(5), 0);
        EXPECT_FALSE(installation.isAnyFanManual());
    }
};

TEST_F(UnreadLogs, FullSystemLogBlocksNeitherServiceNorExit) {
    if (const auto refusal = LaunchEnvironment::refusalOfOwnLog(folder.path()); !refusal.empty())
        GTEST_SKIP() << "no process can have a separate system log here: " << refusal;
    const FakeLogDaemon daemon(installation.program(LaunchEnvironment::logSocketName));
    start({.hasOwnLog = true});
    const auto client = startHold();
    EXPECT_THAT(daemon.read(), ::testing::Contains(::testing::HasSubstr("hold: engaged")))
        << "the daemon must receive this helper's log";
    daemon.fill();
    addClient("stranger");
    const auto stranger = startRawClient("stranger");
    EXPECT_EQ(stranger->perform("churn 50"), "50");
    EXPECT_TRUE(stranger->connect());
    EXPECT_EQ(stranger->perform("receive"), "ended") << "all of them have been refused";
    expectService();
    expectHandBack(SIGTERM);
}

enum class Stream { pipe, terminal };

class UnreadStandardError : public UnreadLogs, public ::testing::WithParamInterface<Stream> {
protected:
    UnreadStream full =
        GetParam() == Stream::pipe ? UnreadStream::pipe(folder / "standard-error") : UnreadStream::terminal();
};

TEST_P(UnreadStandardError, BlocksNeitherServiceNorExit) {
    start({.standardError = full.path()});
    const auto client = startHold();
    expectService();
    expectHandBack(SIGTERM);
}

std::string nameOfCase(const ::testing::TestParamInfo<Stream>& info) {
    return info.param == Stream::pipe ? "Pipe" : "Terminal";
}

TEST_F(UnreadLogs, WritesPendingLinesAtExitEvenIfTheListenerIsStuck) {
    const auto full = UnreadStream::pipe(folder / "standard-error");
    start({.standardError = full.path()});
    const auto client = startHold();
    const StoppedThreads listener(installation.helper().number());
    ASSERT_GE(listener.count(), 1U);
    installation.helper().signal(SIGTERM);
    // The fans are handed back, and the helper waits for its listener. Only now does the test read the pipe.
    ASSERT_TRUE(waitUntil([this] { return !installation.isAnyFanManual(); }, 10));
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    full.read();
    ASSERT_TRUE(waitUntil(
        [&] {
            listener.reap();
            return installation.helper().status().has_value();
        },
        10));
    EXPECT_EQ(installation.helper().status(), 0);
    EXPECT_THAT(full.read(), ::testing::HasSubstr("Handed the fan back on the way out."));
}

INSTANTIATE_TEST_SUITE_P(Full, UnreadStandardError, ::testing::Values(Stream::pipe, Stream::terminal), nameOfCase);

} // namespace
} // namespace kelo
