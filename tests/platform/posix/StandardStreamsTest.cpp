#include "platform/posix/StandardStreams.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <functional>
#include <string>

#include "tests/support/Coverage.h"

namespace kelo {
namespace {

/// Exit status of a process of its own that runs `work`; 1000 plus the signal if one ended it.
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

TEST(StandardStreams, DescriptorsThatAreClosedAreOpenedOnTheNullDevice) {
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

TEST(StandardStreams, DescriptorsThatAreOpenStayWhatTheyAre) {
    EXPECT_EQ(inChild([] {
                  std::array<int, 2> pipeEnds{};
                  if (pipe(pipeEnds.data()) != 0 || dup2(pipeEnds[1], 2) != 2)
                      return 1;
                  close(0);
                  StandardStreams::prepare();
                  return isNullDevice(0) && !isNullDevice(2) ? 0 : 2;
              }),
              0);
}

TEST(StandardStreams, ALineGoesToStandardErrorInOneWrite) {
    std::array<int, 2> ends{};
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_DGRAM, 0, ends.data()), 0); // each write is read by itself
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

TEST(StandardStreams, AReaderThatHasGoneDoesNotEndTheProcess) {
    EXPECT_EQ(inChild([] {
                  std::array<int, 2> pipeEnds{};
                  if (pipe(pipeEnds.data()) != 0 || dup2(pipeEnds[1], 2) != 2)
                      return 1;
                  close(pipeEnds[0]);
                  std::signal(SIGPIPE, SIG_DFL);
                  StandardStreams::prepare();
                  StandardStreams::writeError("nobody reads this\n");
                  return 0;
              }),
              0);
}

TEST(StandardStreams, AReaderThatHasStoppedReadingIsNotWaitedFor) {
    EXPECT_EQ(inChild([] {
                  std::array<int, 2> pipeEnds{};
                  if (pipe(pipeEnds.data()) != 0 || dup2(pipeEnds[1], 2) != 2)
                      return 1;
                  fcntl(2, F_SETFL, O_NONBLOCK);
                  while (write(2, "x", 1) == 1) {
                  }
                  fcntl(2, F_SETFL, 0);
                  alarm(60); // ends a process that waits
                  StandardStreams::writeError("nobody reads this\n");
                  return 0;
              }),
              0);
}

TEST(StandardStreams, AClosedStandardErrorIsNoReasonToFail) {
    EXPECT_EQ(inChild([] {
                  close(2);
                  StandardStreams::writeError("nobody reads this\n");
                  return 0;
              }),
              0);
}

} // namespace
} // namespace kelo
