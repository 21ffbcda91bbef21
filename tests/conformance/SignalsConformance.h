#pragma once

#include <gmock/gmock.h>

#include <csignal>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "helper/Signals.h"

namespace kelo {

/// Tests every source of signals. The test's thread is the main thread. The harness:
///
///     Signals& signals();
///     void raise(int signal);  // sends the signal to the process
///     void run();              // runs the main queue until all signals are handled
template <typename Harness>
class SignalsConformance : public ::testing::Test {
protected:
    Signals& signals() { return harness.signals(); }

    std::unique_ptr<SignalSource> deliver(int signal, const std::string& name) {
        return ready(signals().deliver(signal, [this, name] { arrived.push_back(name); }));
    }

    /// Returns `source` once it is ready.
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

TYPED_TEST_P(SignalsConformance, DeliversASignalEachTimeItArrives) {
    const auto source = this->deliver(SIGTERM, "SIGTERM");
    for (int i = 0; i < 3; ++i) {
        this->harness.raise(SIGTERM);
        this->harness.run();
    }
    EXPECT_THAT(this->arrived, ::testing::ElementsAre("SIGTERM", "SIGTERM", "SIGTERM"));
}

TYPED_TEST_P(SignalsConformance, EachSignalHasItsOwnSource) {
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

TYPED_TEST_P(SignalsConformance, AHandlerMayDestroyItsSource) {
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

REGISTER_TYPED_TEST_SUITE_P(SignalsConformance, ASignalReachesItsSourceOnTheMainQueue, DeliversASignalEachTimeItArrives,
                            EachSignalHasItsOwnSource, ADestroyedSourceIsNotCalledAndTheSignalStaysIgnored,
                            AHandlerMayDestroyItsSource);

} // namespace kelo
