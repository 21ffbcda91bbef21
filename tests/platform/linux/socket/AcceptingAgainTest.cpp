#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <thread>

#include "platform/linux/socket/UnixSocket.h"
#include "platform/linux/socket/server/SocketListener.h"
#include "testing/TemporaryFolder.h"

namespace {

/// How often the kernel is to refuse.
std::atomic<int> refusedConnections = 0;
std::atomic<int> refusedWatches = 0;

} // namespace

// The linker puts these in the place of the functions of the C library.
extern "C" {

int __real_accept4(int socket, sockaddr* address, socklen_t* size, int flags);
int __real_epoll_ctl(int epoll, int operation, int descriptor, epoll_event* event);

int __wrap_accept4(int socket, sockaddr* address, socklen_t* size, int flags) { // NOLINT
    if (refusedConnections == 0)
        return __real_accept4(socket, address, size, flags);
    --refusedConnections;
    errno = EMFILE;
    return -1;
}

int __wrap_epoll_ctl(int epoll, int operation, int descriptor, epoll_event* event) { // NOLINT
    // Watches are refused only after the connections: those of the start are not meant.
    if (refusedConnections > 0 || refusedWatches == 0 || operation != EPOLL_CTL_ADD)
        return __real_epoll_ctl(epoll, operation, descriptor, event);
    --refusedWatches;
    errno = ENOSPC;
    return -1;
}

} // extern "C"

namespace kelo {
namespace {

TEST(SocketListenerWithoutRoom, ItAcceptsAgainThoughTheKernelRefusedToWatchItsSocketOnce) {
    refusedConnections = 1;
    refusedWatches = 1;
    const TemporaryFolder folder;
    const FileDescriptor directory(open(folder.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    std::atomic<int> refusals = 0;
    EventLoop main;
    SocketListener listener(main, directory.get(), "service.socket",
                            [](int, const std::string&) { return std::nullopt; },
                            {.onRefusal = [&](const std::string&) {
                                ++refusals;
                            }}); // nobody is let in, which shows that it has been accepted
    EXPECT_TRUE(listener.resume());
    const auto client = unix_socket::connect(directory.get(), "service.socket");
    ASSERT_TRUE(client.isValid());
    for (int i = 0; i < 500 && refusals == 0; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    EXPECT_EQ(refusedWatches, 0);
    EXPECT_EQ(refusals, 1);
}

} // namespace
} // namespace kelo
