#include "simulator/tools/simmac/MacCommands.h"

#include <csignal>
#include <cstdio>
#include <memory>
#include <vector>

#include "platform/linux/loop/EventLoop.h"
#include "platform/linux/loop/SignalfdSignals.h"
#include "platform/linux/socket/SimulatedMacFolder.h"
#include "simulator/link/HardwareLink.h"
#include "simulator/server/HardwareServer.h"

namespace kelo::mac_commands {
namespace {

/// Makes one call on the Mac that runs beside this program.
Message call(const Message& request) {
    const SimulatedMacFolder folder;
    const auto link = folder.isPresent() ? HardwareLink::connect(folder.descriptor()) : nullptr;
    if (!link)
        throw CommandRefused("No simulated Mac is running here; \"simmac serve\" starts one.");
    link->setPatience(90); // sleep is waited for twice 30 seconds
    const auto answer = link->call(request);
    if (!answer)
        throw CommandRefused("The simulated Mac has gone.");
    if (answer->contains("error"))
        throw CommandRefused(answer->at("error").get<std::string>());
    return *answer;
}

Message optional(std::optional<double> value) { return value ? Message(*value) : Message(); }

void printFans(const Message& fans) {
    const auto number = [](const Message& value) { return value.is_null() ? 0.0 : value.get<double>(); };
    for (const auto& fan : fans)
        std::printf("fan %d  %-9s  %5.0f RPM  target %5.0f  range %.0f...%.0f\n", fan["index"].get<int>(),
                    fan["isManual"].get<bool>() ? "manual" : "automatic", number(fan["currentRPM"]),
                    number(fan["targetRPM"]), number(fan["minRPM"]), number(fan["maxRPM"]));
    if (fans.empty())
        std::printf("no fans\n");
}

} // namespace

void serve(const std::string& profileName, double heatSpeed) {
    const auto profile = Profile::named(profileName);
    if (!profile)
        throw CommandRefused("There is no profile \"" + profileName + "\".");
    const auto folder = SimulatedMacFolder::makeIfMissing();
    if (!folder.isPresent())
        throw CommandRefused("The folder simulated-mac cannot be made beside this program.");
    if (HardwareLink::connect(folder.descriptor()))
        throw CommandRefused("A simulated Mac is running here already.");
    EventLoop loop;
    SignalfdSignals signals(loop);
    const HardwareServer server(loop, folder.descriptor(), *profile, heatSpeed);
    std::vector<std::unique_ptr<SignalSource>> sources;
    for (const int signal : {SIGTERM, SIGINT}) {
        signals.ignore(signal);
        sources.push_back(signals.deliver(signal, [&] { loop.stop(); }));
    }
    std::printf("The simulated Mac is up: %s.\n", profile->summary.c_str());
    std::fflush(stdout);
    loop.run();
}

void show(bool asJSON) {
    const auto state = call({{"call", "show"}});
    if (asJSON) {
        std::printf("%s\n", state.dump(2).c_str());
        return;
    }
    printFans(state["fans"]);
    for (const auto& [key, celsius] : state["temperatures"].items())
        std::printf("%s   %.1f degrees\n", key.c_str(), celsius.get<double>());
    std::printf("lid %s, %s, load %.0f%%, %d power client(s), %zu write(s)\n",
                state["lidClosed"].get<bool>() ? "closed" : "open", state["asleep"].get<bool>() ? "asleep" : "awake",
                state["load"].get<double>() * 100, state["powerClients"].get<int>(), state["writes"].size());
}

void setLid(const std::string& state) { call({{"call", "lid"}, {"state", state}}); }

void sleep(bool now) {
    const auto report = call({{"call", "sleep"}, {"now", now}});
    std::printf("asleep %.3f s after it was announced; %d client(s) acknowledged, %d did not\n",
                report["seconds"].get<double>(), report["acknowledged"].get<int>(), report["missing"].get<int>());
    std::printf("when the last acknowledgement came:\n");
    printFans(report["fans"]);
}

void wake() { call({{"call", "wake"}}); }

void setLoad(double load) { call({{"call", "load"}, {"value", load}}); }

void setKey(const std::string& key, std::optional<double> value) {
    call({{"call", "set"}, {"key", key}, {"value", optional(value)}});
}

void interfere(int fan, std::optional<double> speed) {
    call({{"call", "interfere"}, {"fan", fan}, {"speed", optional(speed)}});
}

void failExchange(int n) { call({{"call", "fault"}, {"kind", "fail"}, {"n", n}}); }

void answerWith(const std::string& key, const std::string& command, int result) {
    Message request = {{"call", "fault"}, {"kind", "answer"}, {"result", result}};
    if (!key.empty())
        request["key"] = key;
    if (!command.empty())
        request["command"] = command;
    call(request);
}

void reportSize(const std::string& key, std::uint32_t size) {
    call({{"call", "fault"}, {"kind", "size"}, {"key", key}, {"size", size}});
}

void reportType(const std::string& key, const std::string& type) {
    call({{"call", "fault"}, {"kind", "type"}, {"key", key}, {"type", type}});
}

void removeKey(const std::string& key) { call({{"call", "fault"}, {"kind", "remove"}, {"key", key}}); }

void answerSlowly(double seconds) { call({{"call", "fault"}, {"kind", "slow"}, {"seconds", seconds}}); }

void clearFaults() { call({{"call", "fault"}, {"kind", "clear"}}); }

} // namespace kelo::mac_commands
