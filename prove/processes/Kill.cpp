#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <fstream>
#include <mutex>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <thread>

#include "prove/processes/BusyLife.h"
#include "prove/processes/Figures.h"
#include "prove/processes/ProcessUsage.h"
#include "prove/processes/Proofs.h"
#include "prove/processes/SideBySide.h"

namespace kelo {
namespace {

using namespace hardware_calls;
using Clock = std::chrono::steady_clock;

// The number of concurrent tries. Each helper uses two of the 128 inotify instances that a user may have; without them,
// it would not notice its replacement.
constexpr int width = 24;
constexpr double machineAllowance = 2; // seconds, since many processes share few processors
constexpr double bound =
    2 * 4 + machineAllowance; // seconds until every fan is automatic, after unlocking each of two fans
constexpr double grace = 8;   // seconds for which a hold continues without clients
constexpr double graceBound = grace + 2 + machineAllowance; // until the hand-back, since a tick may be in progress
constexpr double hangAfter = 60;                            // seconds until a helper is treated as hung

// Of 1,000 tries, 440 found a held fan, so 20 tries in a row without a held fan happen only once in 100,000 runs. The
// check of a single way needs more tries.
constexpr std::size_t enoughTries = 20;
constexpr std::size_t enoughTriesOfWay = 40;

enum class Way { terminate, interrupt, replace, remove, killClients };
constexpr int wayCount = 5;
const std::array<const char*, wayCount> wayNames = {"SIGTERM", "SIGINT", "executable replaced", "executable deleted",
                                                    "clients killed"};

double secondsSince(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

/// Makes the helper exit in the given way, which must not be `killClients`.
void askToLeave(StagedMac& mac, Way way) {
    if (way == Way::terminate)
        mac.helper().signal(SIGTERM);
    else if (way == Way::interrupt)
        mac.helper().signal(SIGINT);
    else if (way == Way::replace)
        mac.install(Installation::helperName);
    else
        std::filesystem::remove(mac.installation().program(Installation::helperName));
}

/// Waits until the helper has ended. Returns the broken promise, or an empty string.
std::string brokenAtEnd(StagedMac& mac) {
    const auto status = mac.helper().waitForEnd(hangAfter);
    if (!status)
        return "the helper did not end";
    if (*status != 0)
        return "status " + std::to_string(*status);
    return mac.isAnyFanManual() ? "a fan was left manual" : "";
}

struct Outcome {
    double automatic = 0; ///< Seconds until the last fan was automatic.
    double end = 0;       ///< Seconds until the process had ended; 0 if it was not asked to end.
    std::string broken;   ///< The broken promise; empty if there is none.
    bool wasHeld = false; ///< Whether the helper held a fan when it was made to exit.
};

/// Kills all clients. Keeps watching after the hand-back is due, since the helper must not take a fan again.
Outcome killClients(StagedMac& mac, BusyLife& life) {
    life.end();
    Outcome outcome;
    outcome.wasHeld = mac.isAnyFanHeld();
    const auto start = Clock::now();
    waitUntil(
        [&] {
            const double now = secondsSince(start);
            if (mac.isAnyFanManual())
                outcome.automatic = now;
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            return now >= graceBound + 2;
        },
        hangAfter);
    if (outcome.automatic > graceBound)
        outcome.broken = "a fan was manual " + std::to_string(outcome.automatic) + " s later";
    mac.helper().signal(SIGTERM);
    if (const auto broken = brokenAtEnd(mac); outcome.broken.empty())
        outcome.broken = broken;
    return outcome;
}

Outcome endHelper(StagedMac& mac, BusyLife& life, Way way) {
    if (way == Way::killClients)
        return killClients(mac, life);
    Outcome outcome;
    outcome.wasHeld = mac.isAnyFanHeld();
    const auto start = Clock::now();
    const auto startOnMac = mac.call(Show{}).time;
    askToLeave(mac, way);
    outcome.broken = brokenAtEnd(mac);
    outcome.end = secondsSince(start);
    outcome.automatic = untilAutomatic(mac.call(Show{}), startOnMac);
    if (outcome.broken.empty() && outcome.automatic > bound)
        outcome.broken = "took " + std::to_string(outcome.automatic) + " s";
    return outcome;
}

void reset(StagedMac& mac) {
    mac.installation().forgetHelper();
    mac.install(Installation::helperName);
    try {
        mac.call(SetLid{false});
    } catch (const CallFailed&) { // a desktop has no lid
    }
    mac.call(SetKey{"Tp09", std::nullopt});
    if (mac.call(Show{}).asleep)
        mac.call(Wake{});
}

/// Restarts a helper that could not get its inotify instances because other processes of this user have taken them all.
/// Such a helper notices its replacement only when the next client connects, and this delay is not measured here.
void startWatchingHelper(StagedMac& mac) {
    for (int i = 0; i < 60; ++i) {
        mac.startHelper();
        const auto watches = [&] { return ProcessUsage::openFiles(mac.helper().number(), "anon_inode:inotify") == 2; };
        if (waitUntil(watches, 1))
            return;
        mac.installation().forgetHelper();
    }
    throw std::runtime_error("this user's inotify instances are used up");
}

Outcome attempt(StagedMac& mac, unsigned seed, Way way) {
    std::mt19937 random(seed);
    startWatchingHelper(mac);
    Outcome outcome;
    {
        BusyLife life(mac, random);
        const auto length = std::chrono::duration<double>(std::uniform_real_distribution(0.0, 5.0)(random));
        for (const auto start = Clock::now(); Clock::now() - start < length;)
            life.step();
        outcome = endHelper(mac, life, way);
    }
    reset(mac);
    return outcome;
}

struct Tally {
    Figures automatic;
    Figures end;
    int held = 0; ///< Number of tries with a held fan: only in these was there a fan to hand back.
    int broken = 0;

    void add(const Outcome& outcome) {
        automatic.add(outcome.automatic);
        end.add(outcome.end);
        held += outcome.wasHeld ? 1 : 0;
        broken += outcome.broken.empty() ? 0 : 1;
    }
};
using Tallies = std::array<Tally, wayCount>;

double boundOf(std::size_t way) { return static_cast<Way>(way) == Way::killClients ? graceBound : bound; }

void printTable(const Tallies& tallies) {
    std::printf("Seconds until the last fan is automatic, and until the process has ended:\n\n");
    std::printf("%-20s %6s %7s %9s %9s %9s %9s   %9s %9s %7s\n", "way out", "tries", "held", "p50", "p99", "worst",
                "bound", "end p50", "end worst", "broken");
    for (std::size_t way = 0; way < wayCount; ++way) {
        const auto& tally = tallies.at(way);
        const auto& took = tally.automatic;
        std::printf("%-20s %6zu %7d %9.3f %9.3f %9.3f %9.1f   %9.3f %9.3f %7d\n", wayNames.at(way), took.count(),
                    tally.held, took.percentile(50), took.percentile(99), took.worst(), boundOf(way),
                    tally.end.percentile(50), tally.end.worst(), tally.broken);
    }
}

/// Prints a message and returns 1 if nothing was proved because none of many tries found a held fan.
int provedNothing(const char* way, std::size_t tries, int held, std::size_t enough) {
    if (held > 0 || tries < enough)
        return 0;
    std::printf("%s: none of %zu tries found a held fan, so that nothing was proved\n", way, tries);
    return 1;
}

int brokenPromises(const Tallies& tallies) {
    int broken = 0;
    int held = 0;
    std::size_t tries = 0;
    for (std::size_t way = 0; way < wayCount; ++way) {
        const auto& tally = tallies.at(way);
        const auto count = tally.automatic.count();
        broken += tally.broken + provedNothing(wayNames.at(way), count, tally.held, enoughTriesOfWay);
        held += tally.held;
        tries += count;
    }
    return broken + provedNothing("all ways together", tries, held, enoughTries);
}

void writePictureData(const Tallies& tallies, const std::string& file) {
    std::ofstream stream(file);
    stream << "{\n \"picture\": \"delays\",\n \"title\": \"Duration of each way out\",\n \"rows\": [";
    for (std::size_t way = 0; way < wayCount; ++way) {
        const auto& took = tallies.at(way).automatic;
        const nlohmann::ordered_json row = {{"name", wayNames.at(way)},   {"tries", took.count()},
                                            {"p50", took.percentile(50)}, {"p99", took.percentile(99)},
                                            {"worst", took.worst()},      {"bound", boundOf(way)}};
        stream << (way == 0 ? "\n  " : ",\n  ") << row.dump();
    }
    if (!(stream << "\n ]\n}\n").flush())
        throw std::runtime_error("cannot write " + file);
}

} // namespace

int proveKill(const std::filesystem::path& staged, const std::filesystem::path& work, int tries, unsigned seed,
              const std::string& data) {
    const std::array<const char*, 3> profiles = {"laptop", "locked", "desktop"};
    std::mutex mutex;
    Tallies tallies;
    std::printf("Ending a busy helper %d times, seeds %u to %u.\n\n", tries, seed,
                seed + static_cast<unsigned>(tries) - 1);
    sideBySide(tries, width, [&](int worker) {
        const auto* profile = profiles.at(static_cast<std::size_t>(worker) % profiles.size());
        const auto mac = std::make_shared<StagedMac>(staged, work / ("kill" + std::to_string(worker)), profile);
        return [&, mac, profile](int number) {
            const auto trySeed = seed + static_cast<unsigned>(number);
            const auto way = static_cast<std::size_t>(number % wayCount);
            const auto outcome = attempt(*mac, trySeed, static_cast<Way>(way));
            const std::lock_guard lock(mutex);
            tallies.at(way).add(outcome);
            if (!outcome.broken.empty())
                std::printf("seed %u, %s, %s: %s\n", trySeed, wayNames.at(way), profile, outcome.broken.c_str());
        };
    });
    printTable(tallies);
    if (!data.empty())
        writePictureData(tallies, data);
    const int broken = brokenPromises(tallies);
    return broken + proveSIGKILL(staged, work, std::max(tries / 50, 2));
}

} // namespace kelo
