#include "tests/conformance/SignalsConformance.h"

#include "platform/macos/DispatchSignals.h"
#include "tests/platform/macos/conformance/SystemUnderTest.h"

namespace kelo {
namespace {

class DispatchSignalsHarness {
public:
    Signals& signals() { return signals_; }
    void raise(int signal) { SystemUnderTest::sendSignal(signal); }
    void run() { runMainLoop(SystemUnderTest::unit); }

private:
    [[maybe_unused]] SystemUnderTest system_;
    DispatchMainQueue queue_;
    DispatchSignals signals_;
};

INSTANTIATE_TYPED_TEST_SUITE_P(MacOS, SignalsConformance, DispatchSignalsHarness);

} // namespace
} // namespace kelo
