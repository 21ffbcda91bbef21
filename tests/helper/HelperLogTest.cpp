#include "helper/HelperLog.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <set>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "platform/posix/StandardStreams.h"
#include "testing/RecordingLog.h"

namespace kelo {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

class HelperLogTest : public ::testing::Test {
protected:
    HelperLogTest() { output.time = 1'794'794'586; } // 2026-11-16T02:03:06Z

    RecordingOutput output;
    std::shared_ptr<RecordingSystemLog> system = std::make_shared<RecordingSystemLog>();
    HelperLog log{system, "listener", output};
};

TEST_F(HelperLogTest, WritesAnyMessageAsOneLineInOneWrite) {
    const std::string messages[] = {
        "Asked to stop.", "",         "two\nlines\r\n\ttab",    std::string("nul\0inside", 10),
        "%s%n {} \\ \"",  "\xFF\xFE", std::string(100'000, 'x')};
    const HelperLog service(system, "service", output);
    for (const auto& message : messages) {
        log.notice(message);
        service.error(message);
        const auto writes = output.writes();
        EXPECT_EQ(writes.end()[-2], "2026-11-16T02:03:06Z [NOTICE] listener: " + message + "\n");
        EXPECT_EQ(writes.back(), "2026-11-16T02:03:06Z [ERROR] service: " + message + "\n");
    }
    EXPECT_EQ(output.writes().size(), 2 * std::size(messages));
}

TEST_F(HelperLogTest, PassesTheBareMessageToTheSystemLog) {
    log.error("one");
    log.notice("two");
    EXPECT_THAT(system->entries(), ElementsAre(Pair(LogLevel::error, "one"), Pair(LogLevel::notice, "two")));
}

TEST_F(HelperLogTest, WritesToStandardErrorEvenIfTheSystemLogDropsTheLevel) {
    system->isErrorEnabled = false;
    log.error("one");
    log.notice("two");
    EXPECT_THAT(system->entries(), ElementsAre(Pair(LogLevel::notice, "two")));
    EXPECT_EQ(output.writes().size(), 2U);
    system->isNoticeEnabled = false;
    log.notice("three");
    EXPECT_EQ(system->entries().size(), 1U);
    EXPECT_EQ(output.writes().size(), 3U);
}

TEST_F(HelperLogTest, IgnoresExceptionsFromEitherLog) {
    class BrokenLog : public RecordingSystemLog {
        void write(LogLevel, const std::string&) override { throw std::runtime_error("broken"); }
    };
    HelperLog(std::make_shared<BrokenLog>(), "listener", output).notice("one");
    EXPECT_EQ(output.writes().size(), 1U);
    output.onMessage = [](const std::string&) { throw std::runtime_error("broken"); };
    log.notice("two");
    EXPECT_THAT(system->entries(), ElementsAre(Pair(LogLevel::notice, "two")));
}

TEST_F(HelperLogTest, CopiesShareTheLog) {
    const HelperLog copy = log; // NOLINT(performance-unnecessary-copy-initialization)
    copy.notice("hello");
    EXPECT_EQ(output.writes().size(), 1U);
    EXPECT_EQ(system->entries().size(), 1U);
}

TEST_F(HelperLogTest, WritesTimesInUTCRoundedDownToSeconds) {
    const std::pair<double, const char*> times[] = {
        {0, "1970-01-01T00:00:00Z"},
        {0.999, "1970-01-01T00:00:00Z"},
        {-0.001, "1969-12-31T23:59:59Z"},
        {951'782'400, "2000-02-29T00:00:00Z"},
        {1'798'761'599.9999, "2026-12-31T23:59:59Z"},
        {4'102'444'800, "2100-01-01T00:00:00Z"},
    };
    for (const auto& [time, text] : times) {
        RecordingOutput fresh;
        fresh.time = time;
        HelperLog(system, "c", fresh).notice("m");
        EXPECT_THAT(fresh.writes(), ElementsAre(std::string(text) + " [NOTICE] c: m\n"));
    }
}

class CapturedStandardError {
public:
    CapturedStandardError() {
        std::array<int, 2> ends{};
        if (pipe(ends.data()) != 0 || (saved_ = dup(STDERR_FILENO)) < 0 || dup2(ends[1], STDERR_FILENO) < 0)
            throw std::runtime_error("standard error cannot be captured");
        close(ends[1]);
        reader_ = std::thread([this, end = ends[0]] {
            std::array<char, 4096> block{};
            for (ssize_t size = 0; (size = read(end, block.data(), block.size())) > 0;)
                text_.append(block.data(), static_cast<std::size_t>(size));
            close(end);
        });
    }
    CapturedStandardError(const CapturedStandardError&) = delete;
    CapturedStandardError& operator=(const CapturedStandardError&) = delete;
    ~CapturedStandardError() { end(); }

    /// Ends the capture and returns the captured text.
    const std::string& end() {
        if (reader_.joinable()) {
            dup2(saved_, STDERR_FILENO); // closes the pipe's last writing end
            close(saved_);
            reader_.join();
        }
        return text_;
    }

private:
    int saved_ = -1;
    std::string text_; ///< Used by the reader until it has been joined.
    std::thread reader_;
};

/// Writes to standard error in the same way as the platforms.
class StandardOutput : public LogOutput {
public:
    double wallClock() override { return 1'794'794'586; }
    void writeStandardError(const std::string& bytes) override { StandardStreams::writeError(bytes); }
};

TEST(HelperLogOnStandardError, EightThreadsWriteWholeLinesWithoutLoss) {
    // Replaces RecordingSystemLog, which supports only one thread.
    struct NoLog : SystemLog {
        bool isEnabled(LogLevel) override { return true; }
        void write(LogLevel, const std::string&) override {}
    };
    // The lines of all threads fit into the pipe, so writing never blocks.
    constexpr int linesEach = 100;
    StandardOutput output;
    const HelperLog shared(std::make_shared<NoLog>(), "service", output);
    std::multiset<std::string> expected;
    std::vector<std::thread> threads;
    std::atomic<int> started = 0;
    CapturedStandardError captured;
    for (int thread = 0; thread < 8; ++thread) {
        for (int i = 0; i < linesEach; ++i)
            expected.insert("2026-11-16T02:03:06Z [NOTICE] service: thread " + std::to_string(thread) + " line " +
                            std::to_string(i));
        threads.emplace_back([&shared, &started, thread] {
            ++started;
            while (started < 8)
                std::this_thread::yield(); // start together: a thread takes longer to start than to write a line
            for (int i = 0; i < linesEach; ++i)
                shared.notice("thread " + std::to_string(thread) + " line " + std::to_string(i));
        });
    }
    for (auto& thread : threads)
        thread.join();
    std::istringstream text(captured.end());
    std::multiset<std::string> lines;
    for (std::string line; std::getline(text, line);)
        lines.insert(line);
    EXPECT_EQ(lines, expected);
}

} // namespace
} // namespace kelo
