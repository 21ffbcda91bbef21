#include "simulator/tools/simmac/MacCommands.h"

#include <csignal>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <vector>

#include "platform/linux/hardware/SimulatedMacFolder.h"
#include "platform/linux/loop/EventLoop.h"
#include "platform/linux/loop/SignalfdSignals.h"
#include "simulator/server/HardwareServer.h"

namespace kelo::mac_commands {
namespace {

using namespace hardware_calls;

void printFans(const std::vector<FanState>& fans) {
    for (const auto& fan : fans)
        std::printf("fan %d  %-9s  %5.0f RPM  target %5.0f  range %.0f...%.0f\n", fan.index,
                    fan.isManual ? "manual" : "automatic", fan.currentRPM.value_or(0), fan.targetRPM.value_or(0),
                    fan.minRPM.value_or(0), fan.maxRPM.value_or(0));
    if (fans.empty())
        std::printf("no fans\n");
}

} // namespace

std::unique_ptr<HardwareLink> connect() {
    auto link = HardwareLink::connect(SimulatedMacFolder().descriptor());
    if (!link)
        throw std::runtime_error("No simulated Mac is running here; \"simmac serve\" starts one.");
    return link;
}

void serve(const std::string& profileName, double heatSpeed, double clockSpeed) {
    const auto profile = Profile::named(profileName);
    if (!profile)
        throw std::runtime_error("There is no profile \"" + profileName + "\".");
    const auto folder = SimulatedMacFolder::makeIfMissing();
    if (!folder.problem().empty())
        throw std::runtime_error("The simulated Mac has no place: " + folder.problem() + ".");
    if (HardwareLink::connect(folder.descriptor()))
        throw std::runtime_error("A simulated Mac is running here already.");
    EventLoop loop;
    SignalfdSignals signals(loop);
    const HardwareServer server(loop, folder.descriptor(), *profile, heatSpeed, clockSpeed);
    std::vector<std::unique_ptr<SignalSource>> sources;
    for (const int signal : {SIGTERM, SIGINT})
        sources.push_back(signals.deliver(signal, [&] { loop.stop(); }));
    std::printf("The simulated Mac is up: %s.\n", profile->summary.c_str());
    std::fflush(stdout);
    loop.run();
}

void show(bool asJSON) {
    const auto state = call(Show{});
    if (asJSON) {
        std::printf("%s\n", toJSON(state).c_str());
        return;
    }
    printFans(state.fans);
    for (const auto& [key, celsius] : state.temperatures)
        std::printf("%s   %.1f degrees\n", key.c_str(), celsius);
    std::printf("lid %s, %s, load %.0f%%, %zu power client(s), %zu write(s)\n", state.lidClosed ? "closed" : "open",
                state.asleep ? "asleep" : "awake", state.load * 100, state.powerClients, state.writes.size());
}

void sleep(const Sleep& asked) {
    const auto report = call(asked);
    std::printf("asleep %.3f s after it was announced; %d client(s) acknowledged, %d did not\n", report.seconds,
                report.acknowledged, report.missing);
    std::printf("when the last acknowledgement came:\n");
    printFans(report.fans);
}

} // namespace kelo::mac_commands
