#include <csignal>
#include <ctime>
#include <filesystem>

#include "platform/linux/loop/InotifyFileEvents.h"
#include "platform/linux/loop/SignalfdSignals.h"
#include "tests/conformance/FileEventsConformance.h"
#include "tests/conformance/MainQueueConformance.h"
#include "tests/conformance/RealFolder.h"
#include "tests/conformance/SignalsConformance.h"
#include "tests/platform/linux/conformance/LoopUnderTest.h"

namespace kelo {
namespace {

// Tests the event loop as a main queue, and as the source of signals and file events.

class EventLoopHarness {
public:
    static constexpr double unit = 1;
    MainQueue& queue() { return under_.loop; }
    void run(double seconds) { under_.run(seconds); }
    void block(double seconds) { under_.block(seconds); }

private:
    LoopUnderTest under_;
};

class SignalDescriptorsHarness {
public:
    /// Discards the test's pending signals, so that they do not reach the next test.
    ~SignalDescriptorsHarness() {
        sigset_t signals;
        sigemptyset(&signals);
        sigaddset(&signals, SIGTERM);
        sigaddset(&signals, SIGINT);
        const timespec noTime = {};
        while (sigtimedwait(&signals, nullptr, &noTime) > 0) {
        }
        sigprocmask(SIG_UNBLOCK, &signals, nullptr);
    }

    Signals& signals() { return signals_; }
    void raise(int signal) { kill(getpid(), signal); }
    void run() { under_.run(1); }

private:
    LoopUnderTest under_;
    SignalfdSignals signals_{under_.loop};
};

template <InotifyFileEvents::Urgency urgency>
class InotifyHarness : public RealFolder {
public:
    FileEvents& fileEvents() { return fileEvents_; }
    void run() { under_.run(1); }
    std::string expectedOwnExecutable() { return std::filesystem::read_symlink("/proc/self/exe").string(); }

private:
    LoopUnderTest under_;
    InotifyFileEvents fileEvents_{under_.loop, urgency};
};

INSTANTIATE_TYPED_TEST_SUITE_P(Linux, MainQueueConformance, EventLoopHarness);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(TimersBehindTasks);
INSTANTIATE_TYPED_TEST_SUITE_P(Linux, SignalsConformance, SignalDescriptorsHarness);
using Urgent = InotifyHarness<InotifyFileEvents::Urgency::urgent>;
using Ordinary = InotifyHarness<InotifyFileEvents::Urgency::ordinary>;
INSTANTIATE_TYPED_TEST_SUITE_P(Linux, FileEventsConformance, Urgent);
INSTANTIATE_TYPED_TEST_SUITE_P(LinuxInOrder, FileEventsConformance, Ordinary);

} // namespace
} // namespace kelo
