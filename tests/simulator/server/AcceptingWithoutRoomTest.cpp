#include <gtest/gtest.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <thread>

#include "tests/support/MacUnderTest.h"

namespace {

std::atomic<bool> isWithoutRoom = false;
std::atomic<int> refusedConnections = 0;
std::atomic<int> watchesToRefuse = 0;

} // namespace

// The linker puts these in the place of the functions of the C library.
extern "C" {

int __real_accept4(int socket, sockaddr* address, socklen_t* size, int flags);
int __real_epoll_ctl(int epoll, int operation, int descriptor, epoll_event* event);

int __wrap_accept4(int socket, sockaddr* address, socklen_t* size, int flags) { // NOLINT
    if (!isWithoutRoom)
        return __real_accept4(socket, address, size, flags);
    ++refusedConnections;
    errno = EMFILE;
    return -1;
}

int __wrap_epoll_ctl(int epoll, int operation, int descriptor, epoll_event* event) { // NOLINT
    if (operation != EPOLL_CTL_ADD || watchesToRefuse == 0)
        return __real_epoll_ctl(epoll, operation, descriptor, event);
    --watchesToRefuse;
    errno = ENOSPC;
    return -1;
}

} // extern "C"

namespace kelo {
namespace {

using namespace std::chrono_literals;

class HardwareServerWithoutRoom : public ::testing::Test {
protected:
    void TearDown() override {
        isWithoutRoom = false;
        watchesToRefuse = 0;
    }
    bool isServing() const { return mac.refusal(hardware_calls::Show{}).empty(); }
    /// Until the kernel has refused so many connections from now.
    static void waitForRefusals(int count) {
        for (const int seen = refusedConnections; refusedConnections < seen + count;)
            std::this_thread::sleep_for(1ms);
    }

    MacUnderTest mac;
};

TEST_F(HardwareServerWithoutRoom, ItTriesAgainAfterAPauseAndServesWhoeverHasWaited) {
    isWithoutRoom = true;
    const auto link = HardwareLink::connect(mac.folder());
    waitForRefusals(1);
    const auto start = std::chrono::steady_clock::now();
    waitForRefusals(3);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 150ms); // a loop without pauses takes microseconds
    isWithoutRoom = false;
    EXPECT_NO_THROW(link->call(hardware_calls::Show{}));
}

TEST_F(HardwareServerWithoutRoom, ItAcceptsAgainThoughTheKernelRefusedToWatchItsSocketOnce) {
    isWithoutRoom = true;
    const auto link = HardwareLink::connect(mac.folder());
    waitForRefusals(1);
    watchesToRefuse = 1;
    while (watchesToRefuse > 0)
        std::this_thread::sleep_for(1ms);
    isWithoutRoom = false;
    EXPECT_NO_THROW(link->call(hardware_calls::Show{}));
}

TEST_F(HardwareServerWithoutRoom, AConnectionThatCannotBeWatchedIsDroppedAndOthersAreServed) {
    const auto served = HardwareLink::connect(mac.folder());
    EXPECT_NO_THROW(served->call(hardware_calls::Show{}));
    watchesToRefuse = 1;
    EXPECT_FALSE(isServing());
    EXPECT_EQ(watchesToRefuse, 0);
    EXPECT_TRUE(isServing());
    EXPECT_NO_THROW(served->call(hardware_calls::Show{}));
}

} // namespace
} // namespace kelo
