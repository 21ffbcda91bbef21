#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <mutex>
#include <random>
#include <string>
#include <thread>

#include "prove/processes/Figures.h"
#include "prove/processes/Proofs.h"
#include "prove/processes/SideBySide.h"
#include "prove/processes/Situation.h"

namespace kelo {
namespace {

using namespace hardware_calls;

constexpr double machineAllowance = 2; // seconds, since many processes share few processors
constexpr double hangAfter = 120;      // seconds beyond the bound until a helper is treated as hung

double secondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

struct Outcome {
    bool wasManual = true;   ///< If false, there was nothing to measure.
    double automatic = 0;    ///< Seconds from the signal until the last fan was automatic.
    double exit = 0;         ///< Seconds from the signal until the process had ended.
    std::string broken = {}; ///< The broken promise; empty if there is none.
};

Outcome leave(StagedMac& mac, const Situation& situation) {
    const auto before = mac.call(Show{}); // the time from here to the signal counts as part of the delay
    if (std::none_of(before.fans.begin(), before.fans.end(), [](const auto& fan) { return fan.isManual; }))
        return {.wasManual = false};
    const auto start = std::chrono::steady_clock::now();
    mac.helper().signal(SIGTERM);
    const auto status = mac.helper().waitForEnd(situation.bound + hangAfter);
    Outcome outcome;
    outcome.exit = secondsSince(start);
    const auto after = mac.call(Show{});
    outcome.automatic = untilAutomatic(after, before.time);
    for (const auto& fan : after.fans)
        if (fan.isManual)
            outcome.broken = "fan " + std::to_string(fan.index) + " was left manual";
    if (status != 0)
        outcome.broken = status ? "status " + std::to_string(*status) : "did not end";
    if (outcome.broken.empty() && outcome.automatic > situation.bound + machineAllowance)
        outcome.broken = "took " + std::to_string(outcome.automatic) + " s";
    return outcome;
}

Outcome attempt(StagedMac& mac, const Situation& situation, int number, std::mt19937& random) {
    const auto setting = situation.enter(mac, number);
    const std::chrono::duration<double> wait(std::uniform_real_distribution(0.0, situation.longestWait)(random));
    std::this_thread::sleep_for(wait);
    auto outcome = leave(mac, situation);
    mac.call(ClearFaults{});
    mac.installation().forgetHelper();
    return outcome;
}

/// Retries if there was nothing to measure: on a busy machine, a situation may be over before the random wait ends.
Outcome attemptUntilManual(StagedMac& mac, const Situation& situation, int number) {
    std::mt19937 random(static_cast<unsigned>(number));
    for (int i = 0; i < 10; ++i)
        if (auto outcome = attempt(mac, situation, number, random); outcome.wasManual)
            return outcome;
    return {.broken = "no fan was ever manual when the helper was asked to stop"};
}

/// Returns the number of tries that broke a promise.
int measure(const Situation& situation, const std::filesystem::path& staged, const std::filesystem::path& work,
            int tries) {
    std::mutex mutex;
    Figures automatic;
    Figures exit;
    int broken = 0;
    sideBySide(tries, situation.sideBySide, [&](int worker) {
        const auto mac =
            std::make_shared<StagedMac>(staged, work / (situation.name + std::to_string(worker)), situation.profile);
        return [&, mac](int number) {
            const auto outcome = attemptUntilManual(*mac, situation, number);
            const std::lock_guard lock(mutex);
            automatic.add(outcome.automatic);
            exit.add(outcome.exit);
            if (outcome.broken.empty())
                return;
            ++broken;
            std::printf("%s, try %d: %s\n", situation.name.c_str(), number, outcome.broken.c_str());
        };
    });
    std::printf("%-20s %6zu %9.3f %9.3f %9.3f %9.1f   %9.3f %9.3f %9.3f %7d\n", situation.name.c_str(),
                automatic.count(), automatic.percentile(50), automatic.percentile(99), automatic.worst(),
                situation.bound + machineAllowance, exit.percentile(50), exit.percentile(99), exit.worst(), broken);
    std::fflush(stdout);
    return broken;
}

} // namespace

int proveDelays(const std::filesystem::path& staged, const std::filesystem::path& work, int tries,
                const std::string& only) {
    StagedMac mac(staged, work / "descriptors", "laptop");
    const int descriptors = fewestDescriptorsToHold(mac);
    mac.installation().forgetHelper();
    std::printf("A helper holds with %d descriptors or more.\n", descriptors);
    std::printf("Seconds from SIGTERM until the last fan is automatic, and until the process has ended:\n\n");
    std::printf("%-20s %6s %9s %9s %9s %9s   %9s %9s %9s %7s\n", "situation", "tries", "p50", "p99", "worst", "bound",
                "end p50", "end p99", "end worst", "broken");
    int broken = 0;
    for (const auto& situation : situations(descriptors))
        if (only.empty() || situation.name == only)
            broken += measure(situation, staged, work, tries);
    return broken;
}

} // namespace kelo
