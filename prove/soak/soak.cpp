#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "prove/soak/CountedMemory.h"
#include "prove/soak/Crowd.h"
#include "prove/soak/QuietMac.h"

namespace kelo {
namespace {

constexpr double hour = 3600;
long faults = 0;

struct Sample {
    MemoryInUse memory;
    std::size_t tasks; ///< In the main queue, timers among them.
    int timers;

    auto operator<=>(const Sample&) const = default;
};

bool isAnyFanManual(const SimulatedController& controller) {
    return controller.number("F0Md") != 0 || controller.number("F1Md") != 0;
}

/// Lives an hour; returns what is in use at its end, when everybody has gone.
Sample live(QuietMac& mac, Crowd& crowd) {
    for (const double end = mac.now + hour - 120; mac.now < end;)
        crowd.step();
    crowd.goHome();
    return {memoryInUse(), mac.queue.pendingTasks(), mac.queue.liveTimers()};
}

int prove(int hours) {
    QuietMac mac;
    Crowd crowd(mac, 1); // behind the helper's replies
    HelperProcess helper(mac.platform);
    helper.start();
    live(mac, crowd); // what is made once has been made
    const auto first = live(mac, crowd);
    auto last = first;
    int broken = 0;
    for (int i = 2; i < hours; ++i) {
        last = live(mac, crowd);
        broken += last == first && !isAnyFanManual(mac.controller) ? 0 : 1;
    }
    std::printf("%.1f simulated hours: %ld arrivals, %ld requests, %ld sleeps, %zu exchanges\n\n", mac.now / hour,
                crowd.arrivals, crowd.requests, crowd.sleeps, mac.exchanges);
    std::printf("%-28s %12s %12s\n", "in use without clients", "second hour", "last hour");
    std::printf("%-28s %12zu %12zu\n", "bytes allocated", first.memory.bytes, last.memory.bytes);
    std::printf("%-28s %12zu %12zu\n", "allocations", first.memory.allocations, last.memory.allocations);
    std::printf("%-28s %12zu %12zu\n", "tasks", first.tasks, last.tasks);
    std::printf("%-28s %12d %12d\n", "timers", first.timers, last.timers);
    std::printf("\nhours that ended with anything else in use, or a fan in manual mode: %d\n", broken);
    mac.signals.send(SIGTERM);
    mac.pass(1);
    const bool isGoodEnd = mac.exitStatus == 0 && !isAnyFanManual(mac.controller);
    std::printf("requests without a reply: %ld; announcements of sleep without an acknowledgement: %ld; faults: %ld\n",
                crowd.unanswered, static_cast<long>(mac.power.unacknowledged), faults);
    std::printf("the end: %s\n", isGoodEnd ? "status 0, every fan automatic" : "not as promised");
    return broken == 0 && crowd.unanswered == 0 && mac.power.unacknowledged == 0 && faults == 0 && isGoodEnd ? 0 : 1;
}

} // namespace

// Stands in for an operating system's.
void reportFault(const char*, const char*) noexcept { ++faults; }

} // namespace kelo

/// Lets the whole helper live for HOURS of virtual time while clients come and go, and looks at what it keeps.
int main(int count, char** arguments) {
    const int hours = count == 1 ? 48 : count == 2 ? std::atoi(arguments[1]) : 0;
    if (hours < 3) {
        std::fputs("usage: prove_soak [HOURS], at least 3\n", stderr);
        return 2;
    }
    return kelo::prove(hours);
}
