#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <optional>
#include <random>
#include <vector>

#include "prove/daemon/Daemon.h"
#include "simulator/model/Profile.h"
#include "testing/FailingMemory.h"

namespace kelo {
namespace {

constexpr double hour = 3600;

/// Clients that connect and disconnect at random while the Mac is used. The same seed gives the same events.
class Crowd {
public:
    Crowd(Daemon& daemon, unsigned seed) : daemon_(daemon), random_(seed) {}

    void step() {
        auto& client = clients_.at(static_cast<std::size_t>(below(clientCount)));
        const int choice = below(20);
        if (choice == 0)
            useMac();
        else if (!client || choice < 4)
            connectOrLeave(client);
        else
            ask(*client);
        pass(below(200) / 100.0);
    }

    /// Disconnects all clients, the last one during its hold. Leaves the lid open and the chip cool, and waits until
    /// the grace period is over.
    void disconnectAll() {
        daemon_.setLid(false);
        daemon_.controller.setNumber("Tp09", 50);
        std::for_each(clients_.begin(), clients_.end(), [this](Client& client) { leave(client); });
        auto& last = clients_.front();
        connectOrLeave(last);
        daemon_.hold(*last, 0.5, true);
        pass(60);
        leave(last);
        pass(60);
    }

    long arrivals = 0;
    long requests = 0;
    long sleeps = 0;

private:
    static constexpr std::size_t clientCount = 50;
    using Client = std::optional<int>; ///< The number of a client; nullopt while it is not connected.

    int below(int limit) { return std::uniform_int_distribution(0, limit - 1)(random_); }

    /// Lets time pass, and clears the records so that they do not fill the memory.
    void pass(double seconds) {
        daemon_.pass(seconds);
        daemon_.tape.clear();
        daemon_.controller.clearLog();
    }

    void connectOrLeave(Client& client) {
        if (client)
            return leave(client);
        daemon_.connect();
        client = daemon_.connectedClients().back();
        ++arrivals;
    }

    void leave(Client& client) {
        if (!client)
            return;
        if (below(3) == 0)
            daemon_.interrupt(*client);
        daemon_.invalidate(*client);
        pass(0);
        client.reset();
    }

    void ask(int client) {
        ++requests;
        switch (below(6)) {
        case 0:
            return daemon_.hold(client, below(101) / 100.0, below(2) == 0);
        case 1:
            return daemon_.handBack(client);
        case 2:
            return daemon_.version(client);
        default:
            return daemon_.snapshot(client);
        }
    }

    void useMac() {
        switch (below(4)) {
        case 0:
            return daemon_.setLid(below(2) == 0);
        case 1:
            return sleepAndWake();
        case 2:
            return interfere();
        default:
            return daemon_.controller.setNumber("Tp09", 40 + below(65));
        }
    }

    void sleepAndWake() {
        ++sleeps;
        daemon_.announce(PowerMessage::canSystemSleep);
        daemon_.announce(PowerMessage::systemWillSleep);
        pass(0);
        daemon_.now += below(60);
        daemon_.announce(PowerMessage::systemHasPoweredOn);
    }

    void interfere() {
        if (below(2) == 0)
            daemon_.controller.setNumber("F0Md", below(2));
        else
            daemon_.controller.setNumber("F1Tg", 1000 + below(6000));
    }

    Daemon& daemon_;
    std::mt19937 random_;
    std::vector<Client> clients_ = std::vector<Client>(clientCount);
};

struct Sample {
    MemoryInUse memory;
    std::size_t tasks; ///< In the main queue, including timers.
    int timers;

    auto operator<=>(const Sample&) const = default;
};

bool isAnyFanManual(const SimulatedController& controller) {
    return controller.number("F0Md") != 0 || controller.number("F1Md") != 0;
}

/// Runs for an hour. Returns the resources in use at its end, when no client is connected.
Sample runHour(Daemon& daemon, Crowd& crowd) {
    for (const double end = daemon.now + hour - 120; daemon.now < end;)
        crowd.step();
    crowd.disconnectAll();
    return {FailingMemory::inUse(), daemon.queue.pendingTasks(), daemon.queue.liveTimers()};
}

int prove(int hours) {
    Daemon daemon;
    Profile::named("laptop").value().defineKeys(daemon.controller);
    daemon.exchange.limit = std::numeric_limits<int>::max();
    daemon.platform.output.isKept = false;
    daemon.platform.isLogThrowing = true; // the scripted logs then store no entries
    daemon.start();
    Crowd crowd(daemon, 1);
    runHour(daemon, crowd); // warm-up: allocates everything that is allocated only once
    const auto first = runHour(daemon, crowd);
    auto last = first;
    int broken = 0;
    for (int i = 2; i < hours; ++i) {
        last = runHour(daemon, crowd);
        broken += last == first && !isAnyFanManual(daemon.controller) ? 0 : 1;
    }
    std::printf("%.1f simulated hours: %ld arrivals, %ld requests, %ld sleeps, %d exchanges\n\n", daemon.now / hour,
                crowd.arrivals, crowd.requests, crowd.sleeps, daemon.exchange.count());
    std::printf("%-28s %12s %12s\n", "in use without clients", "second hour", "last hour");
    std::printf("%-28s %12zu %12zu\n", "bytes allocated", first.memory.bytes, last.memory.bytes);
    std::printf("%-28s %12zu %12zu\n", "allocations", first.memory.allocations, last.memory.allocations);
    std::printf("%-28s %12zu %12zu\n", "tasks", first.tasks, last.tasks);
    std::printf("%-28s %12d %12d\n", "timers", first.timers, last.timers);
    std::printf("\nhours that ended with figures other than those of the second hour, or with a manual fan: %d\n",
                broken);
    daemon.signal(SIGTERM);
    daemon.pass(1);
    const bool isGoodEnd = daemon.exitStatus == 0 && !isAnyFanManual(daemon.controller);
    const int unanswered = daemon.wronglyAnswered();
    const int unacknowledged = daemon.wronglyAcknowledged();
    const int faults = daemon.reportedFaults();
    std::printf("requests without a reply: %d; announcements of sleep without an acknowledgement: %d; faults: %d\n",
                unanswered, unacknowledged, faults);
    std::printf("exit: %s\n", isGoodEnd ? "status 0, every fan automatic" : "wrong status, or a fan left manual");
    return broken == 0 && unanswered == 0 && unacknowledged == 0 && faults == 0 && isGoodEnd ? 0 : 1;
}

} // namespace
} // namespace kelo

/// Runs the whole helper for HOURS of virtual time while clients connect and disconnect, and checks for leaks.
int main(int count, char** arguments) {
    const int hours = count == 1 ? 48 : count == 2 ? std::atoi(arguments[1]) : 0;
    if (hours < 3) {
        std::fputs("usage: prove_soak [HOURS]\nHOURS must be at least 3.\n", stderr);
        return 2;
    }
    return kelo::prove(hours);
}
