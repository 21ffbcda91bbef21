#include "platform/linux/socket/server/AdmittedPeer.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/sched.h>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>

#include "platform/linux/socket/UnixSocket.h"
#include "testing/MacFolder.h"
#include "tests/platform/linux/socket/SocketFixture.h"
#include "tests/platform/posix/Ends.h"

namespace kelo {
namespace {

constexpr const char* socketName = "peer.socket";

void stay() {
    while (true)
        pause();
}

void end(pid_t process) {
    kill(process, SIGKILL);
    waitpid(process, nullptr, 0);
}

/// Like `fork`, but gives the child the process ID `number`, which must be free.
pid_t forkAs(pid_t number) {
    clone_args arguments{};
    arguments.exit_signal = SIGCHLD;
    arguments.set_tid = reinterpret_cast<std::uintptr_t>(&number);
    arguments.set_tid_size = 1;
    return static_cast<pid_t>(syscall(SYS_clone3, &arguments, sizeof arguments));
}

class AdmittedPeerTest : public ::testing::Test {
protected:
    /// Starts a process that connects and then runs `work`, which does not return.
    pid_t startPeer(const std::function<void()>& work = stay) {
        const pid_t peer = fork();
        if (peer == 0) {
            const auto socket = unix_socket::connect(folder.descriptor(), socketName);
            work();
        }
        pollfd waiting{.fd = listening.get(), .events = POLLIN, .revents = 0};
        EXPECT_EQ(poll(&waiting, 1, 10'000), 1);
        accepted = unix_socket::accept(listening.get());
        return peer;
    }

    MacFolder folder;
    FileDescriptor listening = unix_socket::listen(folder.descriptor(), socketName);
    FileDescriptor accepted;
};

TEST_F(AdmittedPeerTest, AnEndedProcessIsNotThePeerOfItsSocket) {
    end(startPeer());
    EXPECT_FALSE(AdmittedPeer::of(accepted.get()).has_value());
}

TEST_F(AdmittedPeerTest, ALaterProcessWithTheSameIDIsNotThePeer) {
    const pid_t first = startPeer();
    const auto peer = AdmittedPeer::of(accepted.get());
    ASSERT_TRUE(peer.has_value());
    EXPECT_EQ(peer->process(), first);
    EXPECT_TRUE(peer->hasSent(first));
    end(first);
    const pid_t second = forkAs(first);
    if (second == 0)
        stay();
    if (second < 0 && errno == EPERM)
        GTEST_SKIP() << "only the superuser chooses a process's number";
    ASSERT_EQ(second, first);
    EXPECT_FALSE(peer->hasSent(second));
    end(second);
}

TEST_F(AdmittedPeerTest, AcceptsMessagesWhileAProcessExits) {
    const auto ends = pipeEnds();
    // A process whose first thread has exited has no executable, just like a process that is exiting. Here a second
    // thread keeps the process alive until the test ends it.
    const pid_t process = startPeer([&] {
        char byte = 0;
        std::thread(stay).detach();
        if (read(ends.reading.get(), &byte, 1) == 1)
            syscall(SYS_exit, 0);
        _exit(1);
    });
    const auto peer = AdmittedPeer::of(accepted.get());
    ASSERT_TRUE(peer.has_value());
    ASSERT_EQ(write(ends.writing.get(), "x", 1), 1);
    const auto executable = "/proc/" + std::to_string(process) + "/exe";
    EXPECT_TRUE(eventually([&] { return !std::filesystem::exists(executable); }));
    EXPECT_FALSE(peer->hasEnded());
    EXPECT_TRUE(peer->hasSent(process));
    EXPECT_FALSE(peer->hasSent(getpid()));
    end(process);
}

} // namespace
} // namespace kelo
