#include <sys/epoll.h>
#include <sys/socket.h>

#include <atomic>
#include <cerrno>

#include "tests/platform/linux/socket/SocketFixture.h"

namespace {

/// The number of upcoming calls that fail.
std::atomic<int> refusedConnections = 0;
std::atomic<int> refusedWatches = 0;

} // namespace

// The linker redirects two functions of the C library to the functions below.
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
    // Refuses watches only after a connection has been refused, because the listener needs a watch to start.
    if (refusedConnections > 0 || refusedWatches == 0 || operation != EPOLL_CTL_ADD)
        return __real_epoll_ctl(epoll, operation, descriptor, event);
    --refusedWatches;
    errno = ENOSPC;
    return -1;
}

} // extern "C"

namespace kelo {
namespace {

class SocketListenerWithoutRoom : public SocketFixture {};

TEST_F(SocketListenerWithoutRoom, AcceptsConnectionsAgainAfterTheKernelRefusedAWatch) {
    refusedWatches = 1;
    refusedConnections = 1;
    RawClient client(folder.get());
    EXPECT_EQ(client.version(1), 6);
    EXPECT_EQ(refusedWatches, 0);
}

} // namespace
} // namespace kelo
