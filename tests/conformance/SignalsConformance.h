#pragma once

#include <gmock/gmock.h>

#include <csignal>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "helper/Signals.h"

namespace kelo {

/// What every delivery of signals must do. The test's own thread is the main thread. The harness:
///
///     Signals& signals();
///     void raise(int signal);  // the signal arrives at the process, sent by another
///     void run();              // lets the main thread run its queue until what has arrived is handled
template <typename Harness>
class SignalsConformance : public ::testing::Test {
protected:
    Signals& signals() { return harness.signals(); }

    std::unique_ptr<SignalSource> deliver(int signal, const std::string& name) {
        return ready(signals().deliver(signal, [this, name] { arrived.push_back(name); }));
    }

    /// `source` once it is ready.
    std::unique_ptr<SignalSource> ready(std::unique_ptr<SignalSource> source) {
        bool isReady = false;
        source->whenReady([&] { isReady = true; });
        harness.run();
        EXPECT_TRUE(isReady);
        return source;
    }

    Harness harness;
    std::vector<std::string> arrived;
};

TYPED_TEST_SUITE_P(SignalsConformance);

TYPED_TEST_P(SignalsConformance, ASignalReachesItsSourceOnTheMainQueue) {
    std::thread::id handledOn;
    const auto source = this->ready(this->signals().deliver(SIGTERM, [&] { handledOn = std::this_thread::get_id(); }));
    this->harness.raise(SIGTERM);
    EXPECT_EQ(handledOn, std::thread::id()) << "not before the queue runs";
    this->harness.run();
    EXPECT_EQ(handledOn, std::this_thread::get_id());
}

TYPED_TEST_P(SignalsConformance, ASignalIsDeliveredEachTimeItHasArrived) {
    const auto source = this->deliver(SIGTERM, "SIGTERM");
    for (int i = 0; i < 3; ++i) {
        this->harness.raise(SIGTERM);
        this->harness.run();
    }
    EXPECT_THAT(this->arrived, ::testing::ElementsAre("SIGTERM", "SIGTERM", "SIGTERM"));
}

TYPED_TEST_P(SignalsConformance, EachSignalHasASourceOfItsOwn) {
    const auto terminate = this->deliver(SIGTERM, "SIGTERM");
    const auto interrupt = this->deliver(SIGINT, "SIGINT");
    this->harness.raise(SIGINT);
    this->harness.run();
    EXPECT_THAT(this->arrived, ::testing::ElementsAre("SIGINT"));
    this->harness.raise(SIGTERM);
    this->harness.run();
    EXPECT_THAT(this->arrived, ::testing::ElementsAre("SIGINT", "SIGTERM"));
}

TYPED_TEST_P(SignalsConformance, ADestroyedSourceIsNotCalledAndTheSignalStaysIgnored) {
    auto source = this->deliver(SIGTERM, "SIGTERM");
    source.reset();
    this->harness.raise(SIGTERM);
    this->harness.run();
    EXPECT_THAT(this->arrived, ::testing::IsEmpty());
}

TYPED_TEST_P(SignalsConformance, ASourceMayBeDestroyedByItsOwnHandler) {
    std::unique_ptr<SignalSource> source;
    source = this->ready(this->signals().deliver(SIGTERM, [&] {
        source.reset();
        this->arrived.push_back("SIGTERM");
    }));
    this->harness.raise(SIGTERM);
    this->harness.run();
    this->harness.raise(SIGTERM);
    this->harness.run();
    EXPECT_THAT(this->arrived, ::testing::ElementsAre("SIGTERM"));
}

REGISTER_TYPED_TEST_SUITE_P(SignalsConformance, ASignalReachesItsSourceOnTheMainQueue,
                            ASignalIsDeliveredEachTimeItHasArrived, EachSignalHasASourceOfItsOwn,
                            ADestroyedSourceIsNotCalledAndTheSignalStaysIgnored, ASourceMayBeDestroyedByItsOwnHandler);

} // namespace kelo
