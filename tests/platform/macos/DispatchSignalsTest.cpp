#include "platform/macos/DispatchSignals.h"

#include <csignal>
#include <stdexcept>

#include "tests/platform/macos/doubles/DispatchDouble.h"
#include "tests/platform/macos/doubles/LogDouble.h"
#include "tests/platform/macos/doubles/OnDoubles.h"

namespace kelo {
namespace {

using doubles::journal;
using doubles::mainLoop;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class DispatchSignalsTest : public doubles::OnDoubles {
protected:
    DispatchSignals signals;
};

TEST_F(DispatchSignalsTest, IgnoresTheSignalAndConfiguresItsSourceBeforeActivatingIt) {
    const auto source = signals.deliver(SIGINT, [] {});
    EXPECT_THAT(journal().take(),
                ElementsAre("signal 2 ignore", "dispatch_source_create signal 2 0x0", "dispatch_set_context",
                            "dispatch_source_set_event_handler_f", "dispatch_source_set_cancel_handler_f",
                            "dispatch_source_set_registration_handler_f", "dispatch_activate"));
    EXPECT_EQ(doubles::lastSource(), "signal 0x0 active main");
}

TEST_F(DispatchSignalsTest, DestructionCancelsTheSourceAndReleasesItsHandler) {
    const auto held = std::make_shared<int>();
    auto source = signals.deliver(SIGINT, [held] {});
    journal().take();
    source.reset();
    EXPECT_THAT(journal().take(), ElementsAre("dispatch_source_cancel", "dispatch_release"));
    mainLoop().runFor(0);
    EXPECT_THAT(journal().take(), ElementsAre("cancel handler"));
    EXPECT_EQ(held.use_count(), 1);
    EXPECT_THAT(journal().live(), IsEmpty());
}

TEST_F(DispatchSignalsTest, DoesNotDeliverASignalPendingAtDestruction) {
    int arrivals = 0;
    auto source = signals.deliver(SIGTERM, [&] { ++arrivals; });
    mainLoop().runFor(0);
    doubles::raiseSignal(SIGTERM);
    source.reset();
    mainLoop().runFor(0);
    EXPECT_EQ(arrivals, 0);
}

TEST_F(DispatchSignalsTest, RestoresTheDefaultActionIfTheSourceCannotBeCreated) {
    doubles::failSourceCreation(true);
    journal().take();
    EXPECT_EQ(signals.deliver(SIGTERM, [] {}), nullptr);
    EXPECT_THAT(journal().take(),
                ElementsAre("signal 15 ignore", "dispatch_source_create signal 15 0x0", "signal 15 default"));
}

TEST_F(DispatchSignalsTest, IsReadyOnceTheSystemHasRegisteredTheSource) {
    int arrivals = 0;
    int readiness = 0;
    const auto source = signals.deliver(SIGTERM, [&] { ++arrivals; });
    source->whenReady([&] { ++readiness; });
    EXPECT_EQ(readiness, 0);
    mainLoop().runFor(0);
    EXPECT_EQ(readiness, 1);
    source->whenReady([&] { ++readiness; });
    EXPECT_EQ(readiness, 2) << "at once";
    doubles::raiseSignal(SIGTERM);
    mainLoop().runFor(0);
    EXPECT_EQ(arrivals, 1);
}

TEST_F(DispatchSignalsTest, ADestroyedSourceDoesNotBecomeReady) {
    auto source = signals.deliver(SIGTERM, [] {});
    source->whenReady([] { FAIL(); });
    source.reset();
    mainLoop().runFor(0);
}

TEST_F(DispatchSignalsTest, ReportsExceptionsFromHandlers) {
    const auto source = signals.deliver(SIGTERM, [] { throw std::runtime_error("broken"); });
    mainLoop().runFor(0);
    doubles::raiseSignal(SIGTERM);
    mainLoop().runFor(0);
    ASSERT_THAT(doubles::logEntries(), SizeIs(1));
    EXPECT_EQ(doubles::logEntries()[0].text, "the handler of a dispatch source: broken");
}

} // namespace
} // namespace kelo
