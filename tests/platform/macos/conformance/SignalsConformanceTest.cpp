#include "tests/conformance/SignalsConformance.h"

#include <unistd.h>

#include <csignal>

#include "platform/macos/DispatchSignals.h"
#include "tests/platform/macos/conformance/SystemUnderTest.h"

#ifndef __APPLE__
#include "tests/platform/macos/doubles/DispatchDouble.h"
#endif

namespace kelo {
namespace {

class DispatchSignalsHarness {
public:
    Signals& signals() { return signals_; }
    void run() { runMainLoop(SystemUnderTest::unit); }
#ifdef __APPLE__
    void raise(int signal) {
        run();                    // a source takes note of its signal once it has been activated, which is not at once
        ::kill(getpid(), signal); // to the process: no source sees a signal that one thread was sent
    }
#else
    void raise(int signal) { doubles::arriveSignal(signal); }
#endif

private:
    [[maybe_unused]] SystemUnderTest system_;
    DispatchMainQueue queue_;
    DispatchSignals signals_;
};

INSTANTIATE_TYPED_TEST_SUITE_P(MacOS, SignalsConformance, DispatchSignalsHarness);

} // namespace
} // namespace kelo
