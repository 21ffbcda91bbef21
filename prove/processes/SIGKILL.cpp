#include <chrono>
#include <csignal>
#include <cstdio>
#include <thread>

#include "prove/processes/Proofs.h"
#include "prove/processes/StagedMac.h"

namespace kelo {
namespace {

constexpr double hangAfter = 60; // seconds until a helper is treated as hung

/// The number of tries in which a fan was manual after SIGKILL and after each later step.
struct Left {
    int kill = 0;
    int restart = 0;
    int release = 0;
    int stop = 0;
};

void killWhileHolding(StagedMac& mac, bool holdsAgain, Left& left) {
    const auto manual = [&] { return mac.isAnyFanManual() ? 1 : 0; };
    mac.startHelper();
    auto client = mac.startHold();
    mac.helper().signal(SIGKILL);
    mac.helper().waitForEnd(hangAfter);
    client.reset();
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    left.kill += manual();
    mac.startHelper();
    std::this_thread::sleep_for(std::chrono::seconds(3)); // longer than a tick
    left.restart += manual();
    if (holdsAgain) {
        client = mac.startHold();
        client->signal(SIGINT); // makes the client hand the fan back
        client->waitForEnd(hangAfter);
        left.release += manual();
    }
    mac.helper().signal(SIGTERM);
    mac.helper().waitForEnd(hangAfter);
    left.stop += manual();
}

} // namespace

int proveSIGKILL(const std::filesystem::path& staged, const std::filesystem::path& work, int tries) {
    StagedMac mac(staged, work / "sigkill", "laptop");
    Left left;
    for (int i = 0; i < tries; ++i)
        killWhileHolding(mac, i % 2 == 0, left);
    int broken = 0;
    const auto count = [&](const char* when, int times, int of, bool isGood, const char* complaint) {
        std::printf("  %-49s %4d of %d%s\n", when, times, of, isGood ? "" : complaint);
        broken += isGood ? 0 : 1;
    };
    std::printf("\nSIGKILL while holding, %d times. A fan was manual:\n", tries);
    count("half a second later", left.kill, tries, left.kill > 0, ": nothing was measured");
    count("3 s after the helper was started again", left.restart, tries, left.restart > 0, ": nothing was measured");
    count("after a client of that helper held and released", left.release, (tries + 1) / 2, left.release == 0,
          ": broken");
    count("after that helper was stopped", left.stop, tries, left.stop == 0, ": broken");
    return broken;
}

} // namespace kelo
