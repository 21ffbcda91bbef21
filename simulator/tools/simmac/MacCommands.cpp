#include "simulator/tools/simmac/MacCommands.h"

#include <csignal>
#include <cstdio>
#include <memory>
#include <vector>

#include "platform/linux/hardware/SimulatedMacFolder.h"
#include "platform/linux/loop/EventLoop.h"
#include "platform/linux/loop/SignalfdSignals.h"
#include "simulator/link/HardwareLink.h"
#include "simulator/server/HardwareServer.h"

namespace kelo::mac_commands {
namespace {

using namespace hardware_calls;

/// Makes one call on the Mac that runs beside this program.
template <typename Call>
typename Call::Answer call(const Call& call) {
    const SimulatedMacFolder folder;
    const auto link = HardwareLink::connect(folder.descriptor());
    if (!link)
        throw CommandRefused("No simulated Mac is running here; \"simmac serve\" starts one.");
    try {
        return link->call(call);
    } catch (const CallFailed& error) {
        throw CommandRefused(error.what());
    }
}

void printFans(const std::vector<FanState>& fans) {
    for (const auto& fan : fans)
        std::printf("fan %d  %-9s  %5.0f RPM  target %5.0f  range %.0f...%.0f\n", fan.index,
                    fan.isManual ? "manual" : "automatic", fan.currentRPM.value_or(0), fan.targetRPM.value_or(0),
                    fan.minRPM.value_or(0), fan.maxRPM.value_or(0));
    if (fans.empty())
        std::printf("no fans\n");
}

} // namespace

void serve(const std::string& profileName, double heatSpeed, double clockSpeed) {
    const auto profile = Profile::named(profileName);
    if (!profile)
        throw CommandRefused("There is no profile \"" + profileName + "\".");
    const auto folder = SimulatedMacFolder::makeIfMissing();
    if (!folder.problem().empty())
        throw CommandRefused("The simulated Mac has no place: " + folder.problem() + ".");
    if (HardwareLink::connect(folder.descriptor()))
        throw CommandRefused("A simulated Mac is running here already.");
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

void setLid(const ClamshellProperty& state) { call(SetLid{state}); }

void sleep(bool now) {
    const auto report = call(Sleep{now});
    std::printf("asleep %.3f s after it was announced; %d client(s) acknowledged, %d did not\n", report.seconds,
                report.acknowledged, report.missing);
    std::printf("when the last acknowledgement came:\n");
    printFans(report.fans);
}

void wake() { call(Wake{}); }

void setLoad(double load) { call(SetLoad{load}); }

void setKey(const std::string& key, std::optional<double> value) { call(SetKey{key, value}); }

void interfere(int fan, std::optional<double> rpm) { call(Interfere{fan, rpm}); }

void failExchange(int n) { call(FailExchange{n}); }

void answerWith(const std::optional<std::string>& key, std::optional<SMCCommand> command, std::uint8_t result) {
    call(AnswerWith{key, command, result});
}

void reportSize(const std::string& key, std::uint32_t size) { call(ReportSize{key, size}); }

void reportType(const std::string& key, const std::string& type) { call(ReportType{key, type}); }

void removeKey(const std::string& key) { call(RemoveKey{key}); }

void answerSlowly(double seconds) { call(AnswerSlowly{seconds}); }

void clearFaults() { call(ClearFaults{}); }

} // namespace kelo::mac_commands
