#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <limits>

#include "prove/soak/Crowd.h"
#include "simulator/model/Profile.h"
#include "testing/FailingMemory.h"

namespace kelo {
namespace {

constexpr double hour = 3600;

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
Sample live(Daemon& daemon, Crowd& crowd) {
    for (const double end = daemon.now + hour - 120; daemon.now < end;)
        crowd.step();
    crowd.goHome();
    return {FailingMemory::inUse(), daemon.queue.pendingTasks(), daemon.queue.liveTimers()};
}

int prove(int hours) {
    Daemon daemon;
    Profile::named("laptop").value().defineKeys(daemon.controller);
    daemon.exchange.limit = std::numeric_limits<int>::max();
    daemon.platform.output.isKept = false;
    daemon.platform.isLogThrowing = true; // it keeps no entry, either
    daemon.start();
    Crowd crowd(daemon, 1);
    live(daemon, crowd); // what is made once has been made
    const auto first = live(daemon, crowd);
    auto last = first;
    int broken = 0;
    for (int i = 2; i < hours; ++i) {
        last = live(daemon, crowd);
        broken += last == first && !isAnyFanManual(daemon.controller) ? 0 : 1;
    }
    std::printf("%.1f simulated hours: %ld arrivals, %ld requests, %ld sleeps, %d exchanges\n\n", daemon.now / hour,
                crowd.arrivals, crowd.requests, crowd.sleeps, daemon.exchange.count());
    std::printf("%-28s %12s %12s\n", "in use without clients", "second hour", "last hour");
    std::printf("%-28s %12zu %12zu\n", "bytes allocated", first.memory.bytes, last.memory.bytes);
    std::printf("%-28s %12zu %12zu\n", "allocations", first.memory.allocations, last.memory.allocations);
    std::printf("%-28s %12zu %12zu\n", "tasks", first.tasks, last.tasks);
    std::printf("%-28s %12d %12d\n", "timers", first.timers, last.timers);
    std::printf("\nhours that ended with anything else in use, or a fan in manual mode: %d\n", broken);
    daemon.signal(SIGTERM);
    daemon.pass(1);
    const bool isGoodEnd = daemon.exitStatus == 0 && !isAnyFanManual(daemon.controller);
    const int unanswered = daemon.wronglyAnswered();
    const int unacknowledged = daemon.wronglyAcknowledged();
    const int faults = daemon.reportedFaults();
    std::printf("requests without a reply: %d; announcements of sleep without an acknowledgement: %d; faults: %d\n",
                unanswered, unacknowledged, faults);
    std::printf("the end: %s\n", isGoodEnd ? "status 0, every fan automatic" : "not as promised");
    return broken == 0 && unanswered == 0 && unacknowledged == 0 && faults == 0 && isGoodEnd ? 0 : 1;
}

} // namespace

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
