#include "prove/processes/Situation.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <stdexcept>
#include <thread>

namespace kelo {
namespace {

using namespace hardware_calls;

constexpr double tick = 2;   // seconds between two checks of a hold
constexpr double unlock = 4; // seconds for which the helper retries a mode write

// Shorter than one second, the timeout that applies once the Mac has failed to answer.
constexpr double lateAnswer = 0.9; // seconds

// A tick that retakes two fans reads them three times (20 exchanges each), reads the chip twice (2 each) and takes both
// fans (8 each).
constexpr int exchangesOfTick = 80;
// The exchanges of a hand-back, up to the write that makes the second fan automatic.
constexpr int exchangesOfHandBack = 4;

Setting holding(StagedMac& mac, const LaunchEnvironment& environment = {}) {
    mac.startHelper(environment);
    Setting setting;
    setting.client = mac.startHold();
    return setting;
}

Setting undisturbed(StagedMac& mac, int) { return holding(mac); }

Setting linksLate(StagedMac& mac, int) {
    auto setting = holding(mac);
    mac.call(AnswerSlowly{lateAnswer});
    return setting;
}

/// The log daemon's queue is full, and each refused client causes another log line.
Setting logStalled(StagedMac& mac, int) {
    const auto socket = mac.installation().program(LaunchEnvironment::logSocketName);
    std::optional<FakeLogDaemon> log(std::in_place, socket);
    auto setting = holding(mac, {.hasOwnLog = true});
    if (log->read().empty())
        throw std::runtime_error("the helper does not log to its separate log");
    log->fill();
    setting.log = std::move(log);
    setting.rawClient = std::make_unique<RawClient>(mac.installation(), "stranger");
    setting.rawClient->perform("churn 40");
    return setting;
}

/// Alternates between a full pipe and a full terminal as standard error.
Setting standardErrorFull(StagedMac& mac, int number) {
    const auto path = mac.installation().program("standard-error");
    std::filesystem::remove(path);
    auto full = number % 2 == 0 ? UnreadStream::pipe(path) : UnreadStream::terminal();
    auto setting = holding(mac, {.standardError = full.path()});
    setting.standardError = std::move(full);
    return setting;
}

bool isUnlocked(const MacState& mac, double since) {
    return std::any_of(mac.writes.begin(), mac.writes.end(), [&](const auto& write) {
        return write.key == "Ftst" && write.bytes.at(0) == 1 && write.time >= since;
    });
}

/// The Mac never grants manual mode, and another program has taken the fan: the first hold retries until it times out,
/// and the others wait in the queue.
Setting holdsQueued(StagedMac& mac, int) {
    mac.startHelper();
    Setting setting;
    setting.rawClient = std::make_unique<RawClient>(mac.installation(), "rawclient");
    setting.rawClient->connect();
    mac.call(Interfere{0, 3000});
    const auto start = mac.call(Show{}).time;
    for (int i = 0; i < 64; ++i)
        setting.rawClient->request(requests::Hold{0.5, false});
    const auto hasBegun = [&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50)); // each query transmits a large state
        return isUnlocked(mac.call(Show{}), start);
    };
    if (!waitUntil(hasBegun, 20))
        throw std::runtime_error("the helper does not try the unlock switch");
    return setting;
}

} // namespace

std::vector<Situation> situations(int fewestDescriptors) {
    const double late = lateAnswer * (exchangesOfTick + exchangesOfHandBack);
    const auto descriptorsShort = [fewestDescriptors](StagedMac& mac, int) {
        return holding(mac, {.descriptors = fewestDescriptors});
    };
    return {
        {"undisturbed", "laptop", tick, 0, 16, undisturbed},
        {"links late", "laptop", 2 * tick, late, 48, linksLate},
        {"log stalled", "laptop", tick, 0, 16, logStalled},
        {"standard error full", "laptop", tick, 0, 16, standardErrorFull},
        {"holds queued", "refusing", unlock / 2, unlock, 16, holdsQueued},
        {"descriptors short", "laptop", tick, 0, 16, descriptorsShort},
    };
}

int fewestDescriptorsToHold(StagedMac& mac) {
    for (int descriptors = 12;; ++descriptors) {
        try {
            mac.startHelper({.descriptors = descriptors}, 5);
            mac.startHold(5);
            mac.startHold(5); // a second client; the descriptors of the first hold are still open
            if (mac.isAnyFanManual())
                return descriptors;
        } catch (const std::runtime_error&) {
            if (descriptors == 64)
                throw;
        }
        mac.installation().forgetHelper();
    }
}

} // namespace kelo
