#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <memory>
#include <random>
#include <span>
#include <stdexcept>
#include <thread>
#include <vector>

#include "prove/processes/BusyLife.h"
#include "prove/processes/ProcessUsage.h"
#include "prove/processes/Proofs.h"

namespace kelo {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int clientCount = 50;
constexpr int samplesPerQuarter = 60;
constexpr long descriptorsOfClient = 3; // its socket, its process, and the process's folder in /proc
constexpr int fewestClients = 40;       // clients at the peak of a quarter; on average there are 46
constexpr long toleranceKiB = 256;      // a few pages of the allocator; a leaked connection is found by its descriptors
constexpr double settling = 15;         // seconds; longer than the grace period and a tick

struct Crowd {
    Installation& installation;
    std::mt19937 random{1};
    std::vector<std::unique_ptr<BusyClient>> clients = std::vector<std::unique_ptr<BusyClient>>(clientCount);
    long arrivals = 0;

    int below(int limit) { return std::uniform_int_distribution(0, limit - 1)(random); }

    /// Makes a random client connect, reconnect or send a request, or kills it.
    void step() {
        auto& client = clients.at(static_cast<std::size_t>(below(clientCount)));
        if (!client) {
            client = std::make_unique<BusyClient>(installation);
            ++arrivals;
            return client->connect();
        }
        const int choice = below(12);
        if (choice == 0) {
            client->kill();
            client.reset();
        } else if (choice == 1) {
            client->close();
            client->connect();
        } else if (choice < 4) {
            client->request(requests::Hold{below(101) / 100.0, false});
        } else {
            client->request(requests::FetchSnapshot{});
        }
    }
};

/// Returns samples of the helper's resources at even intervals.
std::vector<ProcessUsage> sampleUsage(Crowd& crowd, pid_t helper, double minutes) {
    std::vector<ProcessUsage> samples;
    const auto start = Clock::now();
    const std::chrono::duration<double> length(minutes * 60);
    const auto interval = length / (4 * samplesPerQuarter);
    while (Clock::now() - start < length) {
        crowd.step();
        if (Clock::now() - start >= interval * static_cast<double>(samples.size() + 1))
            samples.push_back(ProcessUsage::of(helper));
        std::this_thread::sleep_for(std::chrono::milliseconds(25));
    }
    return samples;
}

using Samples = std::span<const ProcessUsage>;

long largest(Samples samples, long ProcessUsage::*member) {
    long value = 0;
    for (const auto& sample : samples)
        value = std::max(value, sample.*member);
    return value;
}

/// Prints a line; returns whether the last quarter does not exceed the first by more than `tolerance`.
bool isFlat(const char* name, Samples samples, long ProcessUsage::*member, long tolerance) {
    const auto quarter = samples.size() / 4;
    const long first = largest(samples.first(quarter), member);
    const long last = largest(samples.last(quarter), member);
    std::printf("%-20s %10ld %10ld %10ld\n", name, first, last, tolerance);
    return last <= first + tolerance;
}

bool isSame(const char* name, long before, long after) {
    std::printf("%-20s %10ld %10ld %10d\n", name, before, after, 0);
    return after == before;
}

/// Checks that clients stay connected: the figures of a helper that cuts all clients off would not grow either.
/// `without` is the number of the helper's descriptors while no client is connected.
bool isFull(Samples samples, long without) {
    const long descriptors = largest(samples.last(samples.size() / 4), &ProcessUsage::descriptors) - without;
    const long clients = descriptors / descriptorsOfClient;
    std::printf("\nIn the last quarter there were up to %ld clients; fewer than %d are too few.\n", clients,
                fewestClients);
    return clients >= fewestClients;
}

/// Holds a fan, so that the helper has a fan to hand back when it exits.
bool canStillHold(StagedMac& mac) try {
    const auto client = mac.startHold();
    return mac.isAnyFanManual();
} catch (const std::runtime_error&) {
    return false;
}

} // namespace

int proveSoak(const std::filesystem::path& staged, const std::filesystem::path& work, double minutes) {
    StagedMac mac(staged, work / "soak", "laptop");
    mac.startHelper();
    const auto helper = mac.helper().number();
    // Lets a first client hold, so that the helper allocates everything that it allocates only once.
    mac.startHold()->signal(SIGKILL);
    std::this_thread::sleep_for(std::chrono::duration<double>(settling));
    const auto before = ProcessUsage::of(helper);

    Crowd crowd{.installation = mac.installation()};
    const auto samples = sampleUsage(crowd, helper, minutes);
    crowd.clients.clear();
    std::this_thread::sleep_for(std::chrono::duration<double>(settling));
    const auto after = ProcessUsage::of(helper);

    std::printf(
        "%d clients connected and disconnected for %.1f min (%ld arrivals); %zu samples. Maximum of each quarter:\n\n",
        clientCount, minutes, crowd.arrivals, samples.size());
    std::printf("%-20s %10s %10s %10s\n", "", "first", "last", "tolerance");
    int broken = 0;
    broken += isFlat("resident KiB", samples, &ProcessUsage::residentKiB, toleranceKiB) ? 0 : 1;
    broken += isFlat("anonymous KiB", samples, &ProcessUsage::anonymousKiB, toleranceKiB) ? 0 : 1;
    broken += isFlat("descriptors", samples, &ProcessUsage::descriptors, clientCount / 5) ? 0 : 1;
    broken += isFlat("threads", samples, &ProcessUsage::threads, 0) ? 0 : 1;
    broken += isFull(samples, before.descriptors) ? 0 : 1;
    std::printf("\nWithout clients, before and after:\n\n");
    broken += isSame("descriptors", before.descriptors, after.descriptors) ? 0 : 1;
    broken += isSame("threads", before.threads, after.threads) ? 0 : 1;
    broken += isSame("manual fans", 0, mac.isAnyFanManual() ? 1 : 0) ? 0 : 1;
    const bool isHolding = canStillHold(mac);
    std::printf("\nAnother client: %s.\n", isHolding ? "holds" : "cannot hold");
    mac.helper().signal(SIGTERM);
    const bool isGoodEnd = mac.helper().waitForEnd(60) == 0 && !mac.isAnyFanManual();
    std::printf("Exit: %s.\n", isGoodEnd ? "status 0, every fan automatic" : "wrong status, or a fan left manual");
    return broken + (isHolding ? 0 : 1) + (isGoodEnd ? 0 : 1);
}

} // namespace kelo
