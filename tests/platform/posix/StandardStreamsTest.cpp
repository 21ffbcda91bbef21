#include "platform/posix/StandardStreams.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <optional>
#include <sstream>
#include <string>
#include <utility>

#include "platform/posix/FileDescriptor.h"
#include "testing/Coverage.h"
#include "testing/DescriptorLimit.h"
#include "testing/TemporaryFolder.h"
#include "tests/platform/posix/Ends.h"

namespace kelo {
namespace {

/// Runs `work` in a separate process. Returns its exit status, or 1000 plus the signal number if a signal ended it.
int inChild(const std::function<int()>& work) {
    const pid_t child = fork();
    if (child == 0) {
        const int status = work();
        saveCoverage();
        _exit(status);
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
}

bool isNullDevice(int descriptor) {
    struct stat given = {};
    struct stat null = {};
    return fstat(descriptor, &given) == 0 && stat("/dev/null", &null) == 0 && given.st_rdev == null.st_rdev;
}

TEST(StandardStreams, OpensTheNullDeviceOnClosedDescriptors) {
    EXPECT_EQ(inChild([] {
                  for (const int descriptor : {0, 1, 2})
                      close(descriptor);
                  StandardStreams::prepare();
                  for (const int descriptor : {0, 1, 2})
                      if (!isNullDevice(descriptor))
                          return 1 + descriptor;
                  return open("/dev/null", O_RDONLY) > 2 ? 0 : 4;
              }),
              0);
}

TEST(StandardStreams, LeavesOpenDescriptorsUnchanged) {
    EXPECT_EQ(inChild([] {
                  std::array<int, 2> pipeEnds{};
                  if (pipe(pipeEnds.data()) != 0 || dup2(pipeEnds[1], 2) != 2)
                      return 1;
                  close(0);
                  const int lowestFree = fcntl(2, F_DUPFD, 3);
                  close(lowestFree);
                  StandardStreams::prepare();
                  if (fcntl(2, F_DUPFD, 3) != lowestFree)
                      return 3; // an unnecessary descriptor was opened
                  return isNullDevice(0) && !isNullDevice(2) ? 0 : 2;
              }),
              0);
}

TEST(StandardStreams, AFileAtItsSizeLimitDoesNotEndTheProcess) {
    const TemporaryFolder folder;
    EXPECT_EQ(inChild([&] {
                  StandardStreams::prepare();
                  const int file = open((folder.path() / "log").c_str(), O_WRONLY | O_CREAT, 0600);
                  rlimit limit{};
                  getrlimit(RLIMIT_FSIZE, &limit);
                  limit.rlim_cur = 0;
                  setrlimit(RLIMIT_FSIZE, &limit);
                  dup2(file, STDERR_FILENO);
                  StandardStreams::writeError("a line\n");
                  return 7;
              }),
              7);
}

TEST(StandardStreams, TerminalSignalsDoNotStopTheProcess) {
    EXPECT_EQ(inChild([] {
                  StandardStreams::prepare();
                  for (const int signal : {SIGTTOU, SIGTTIN, SIGTSTP}) {
                      struct sigaction action = {};
                      if (sigaction(signal, nullptr, &action) != 0 || action.sa_handler != SIG_IGN)
                          return signal;
                  }
                  return 0;
              }),
              0);
}

TEST(StandardStreams, WritesALineToStandardErrorInOneCall) {
    std::array<int, 2> ends{};
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_DGRAM, 0, ends.data()), 0); // keeps each write as a separate message
    EXPECT_EQ(inChild([&] {
                  dup2(ends[1], 2);
                  StandardStreams::writeError("one line\n");
                  StandardStreams::writeError("and another\n");
                  return 0;
              }),
              0);
    std::array<char, 100> buffer{};
    EXPECT_EQ(read(ends[0], buffer.data(), buffer.size()), 9);
    EXPECT_EQ(std::string(buffer.data(), 9), "one line\n");
    EXPECT_EQ(read(ends[0], buffer.data(), buffer.size()), 12);
    EXPECT_EQ(std::string(buffer.data(), 12), "and another\n");
    close(ends[0]);
    close(ends[1]);
}

TEST(StandardStreams, APipeWithoutAReaderDoesNotEndTheProcess) {
    EXPECT_EQ(inChild([] {
                  std::array<int, 2> pipeEnds{};
                  if (pipe(pipeEnds.data()) != 0 || dup2(pipeEnds[1], 2) != 2)
                      return 1;
                  close(pipeEnds[0]);
                  std::signal(SIGPIPE, SIG_DFL);
                  StandardStreams::prepare();
                  StandardStreams::writeError("a line without a reader\n");
                  return 0;
              }),
              0);
}

TEST(StandardStreams, SurvivesAClosedStandardError) {
    EXPECT_EQ(inChild([] {
                  close(2);
                  StandardStreams::writeError("a line without a reader\n");
                  return 0;
              }),
              0);
}

// --- a standard error without a reader

std::string line(int number, std::size_t length) {
    auto text = "line " + std::to_string(number) + " ";
    text.resize(length - 1, 'x');
    return text + "\n";
}

/// The time in seconds after which a child that is still waiting for its reader is killed.
constexpr unsigned limit = 5;
constexpr int lines = 300;

/// Writes all numbered lines before the first read, and a last line after it. Returns all the text that was read.
std::string writeUnreadAndThenRead(const Ends& ends, std::size_t length) {
    dup2(ends.writing.get(), STDERR_FILENO);
    alarm(limit);
    for (int i = 0; i < lines; ++i)
        StandardStreams::writeError(line(i, length));
    std::string text = readAll(ends.reading);
    StandardStreams::writeError("the last\n");
    for (auto more = readAll(ends.reading); !more.empty(); more = readAll(ends.reading)) {
        text += more;
        StandardStreams::writeError("");
    }
    return text;
}

/// Returns whether all lines have arrived in order, except lines that the text reports as left out.
bool isWhole(const std::string& text, std::size_t length) {
    const std::string leftOut = "Lines left out here: ";
    std::istringstream stream(text);
    int next = 0;
    for (std::string read; std::getline(stream, read) && read != "the last";) {
        if (read.starts_with(leftOut))
            next += std::stoi(read.substr(leftOut.size()));
        else if (read + "\n" != line(next++, length))
            return false;
    }
    return next == lines && text.ends_with("\nthe last\n");
}

struct Kind {
    const char* name;
    Ends (*make)();
};

class UnreadStandardError : public ::testing::TestWithParam<Kind> {};

TEST_P(UnreadStandardError, DoesNotBlockAndReportsDroppedLines) {
    for (const std::size_t length : {100U, 1000U, 5000U, 70000U}) {
        const auto ends = GetParam().make();
        EXPECT_EQ(inChild([&] { return isWhole(writeUnreadAndThenRead(ends, length), length) ? 0 : 1; }), 0)
            << "lines of " << length;
    }
}

TEST_P(UnreadStandardError, DoesNotBlockEvenIfNoDescriptorIsFree) {
    for (const std::size_t length : {100U, 1000U, 5000U}) {
        const auto ends = GetParam().make();
        EXPECT_EQ(inChild([&] {
                      std::optional<DescriptorLimit> standardStreamsOnly(3);
                      const auto text = writeUnreadAndThenRead(ends, length);
                      standardStreamsOnly.reset();
                      return isWhole(text, length) ? 0 : 1;
                  }),
                  0)
            << "lines of " << length;
    }
}

TEST_P(UnreadStandardError, LeavesItsSharedFlagsUnchanged) {
    const auto ends = GetParam().make();
    const int before = fcntl(ends.writing.get(), F_GETFL);
    EXPECT_EQ(inChild([&] {
                  dup2(ends.writing.get(), STDERR_FILENO);
                  StandardStreams::writeError("a line\n");
                  return fcntl(STDERR_FILENO, F_GETFL) == before ? 0 : 1;
              }),
              0);
    EXPECT_EQ(fcntl(ends.writing.get(), F_GETFL), before);
    EXPECT_EQ(readAll(ends.reading), "a line\n");
}

INSTANTIATE_TEST_SUITE_P(Every, UnreadStandardError,
                         ::testing::Values(Kind{"Pipe", pipeEnds}, Kind{"Terminal", terminalEnds},
                                           Kind{"Socket", socketEnds}),
                         [](const auto& kind) { return kind.param.name; });

TEST(StandardStreams, WritesPendingLinesAtExit) {
    const auto ends = pipeEnds();
    EXPECT_EQ(inChild([&] {
                  dup2(ends.writing.get(), STDERR_FILENO);
                  alarm(limit);
                  for (int i = 0; i < 80; ++i)
                      StandardStreams::writeError(line(i, 1000));
                  if (readAll(ends.reading).find(line(79, 1000)) != std::string::npos)
                      return 1; // no line was pending
                  saveCoverage();
                  std::exit(0); // NOLINT: tested here
              }),
              0);
    EXPECT_TRUE(readAll(ends.reading).ends_with(line(79, 1000)));
}

TEST(StandardStreams, WritesToAFileAtItsSharedOffset) {
    const TemporaryFolder folder;
    const FileDescriptor file(open((folder / "log").c_str(), O_WRONLY | O_CREAT, 0600));
    EXPECT_EQ(inChild([&] {
                  dup2(file.get(), STDERR_FILENO);
                  StandardStreams::writeError("one\n");
                  if (write(file.get(), "two\n", 4) != 4)
                      return 1;
                  StandardStreams::writeError("three\n");
                  return 0;
              }),
              0);
    EXPECT_EQ(readFile(folder / "log"), "one\ntwo\nthree\n");
}

} // namespace
} // namespace kelo
