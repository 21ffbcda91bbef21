#include <gmock/gmock.h>
#include <sys/eventfd.h>

#include <chrono>
#include <optional>
#include <string>

#include "platform/linux/loop/EventLoop.h"
#include "platform/posix/FileDescriptor.h"
#include "testing/ServiceFixture.h"
#include "testing/VirtualLoopTime.h"

namespace kelo {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// Runs the service on the event loop in virtual time. A client has started a hold and disconnected at second 0.
class ServiceOnEventLoop : public ServiceFixture {
protected:
    ServiceOnEventLoop() {
        makeServiceOn(loop);
        service->clientArrived();
        ReplyProbe<std::optional<std::string>> probe("hold");
        service->hold(0.5, false, probe.reply());
        service->clientWentAway();
        runFor(0);
        EXPECT_EQ(probe.value(), std::nullopt);
        EXPECT_TRUE(isManual(0));
        takeTrace();
    }
    ~ServiceOnEventLoop() override { service.reset(); } // its timers belong to the loop

    void runFor(double seconds) {
        loop.postAfter(seconds, [this] { loop.stop(); });
        loop.run();
    }

    /// Reconnects a client in time, and keeps the main thread busy until the grace period is over. Called 7.5 seconds
    /// after the last client has disconnected.
    void admitWhileBusy() {
        service->clientArrived(); // the listener's thread does not wait for the main thread
        time.pass(std::chrono::seconds(2));
    }
    void expectThatTheHoldIsKept() {
        runFor(60);
        EXPECT_TRUE(isManual(0));
        EXPECT_THAT(takeLogs(), IsEmpty());
    }

    VirtualLoopTime time;
    EventLoop loop{time};
};

TEST_F(ServiceOnEventLoop, AClientThatReturnsDuringALongTimerKeepsTheHold) {
    loop.postAfter(7.5, [this] { admitWhileBusy(); });
    expectThatTheHoldIsKept();
}

TEST_F(ServiceOnEventLoop, AClientThatReturnsDuringALongTaskKeepsTheHold) {
    loop.postAfter(7.5, [this] { loop.post([this] { admitWhileBusy(); }); });
    expectThatTheHoldIsKept();
}

TEST_F(ServiceOnEventLoop, AClientThatReturnsDuringALongEventKeepsTheHold) {
    const FileDescriptor event(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    const auto watch = loop.watch(event.get(), EventLoop::Readiness::readable, [&] {
        eventfd_t count = 0;
        EXPECT_EQ(eventfd_read(event.get(), &count), 0);
        admitWhileBusy();
    });
    loop.postAfter(7.5, [&] { EXPECT_EQ(eventfd_write(event.get(), 1), 0); });
    expectThatTheHoldIsKept();
}

TEST_F(ServiceOnEventLoop, HandsTheFansBackAfterALongTaskIfNoClientReturns) {
    loop.postAfter(7.5, [this] { time.pass(std::chrono::seconds(2)); });
    runFor(9);
    EXPECT_FALSE(isManual(0));
    EXPECT_THAT(takeLogs(), ElementsAre("[NOTICE] service: hold: released",
                                        "[NOTICE] service: Fan handed back to macOS after the client went away."));
}

} // namespace
} // namespace kelo
