// simmac: runs a simulated Mac and drives one that is already running.

#include <CLI/CLI.hpp>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "client/UsageError.h"
#include "platform/linux/hardware/SimulatedMacFolder.h"
#include "platform/linux/loop/EventLoop.h"
#include "platform/linux/loop/SignalfdSignals.h"
#include "simulator/link/HardwareLink.h"
#include "simulator/model/Profile.h"
#include "simulator/server/HardwareServer.h"

namespace kelo {
namespace {

using namespace hardware_calls;

// The commands. Each throws an exception whose text is one sentence for the user.

/// Connects to the Mac that runs in this program's folder.
std::unique_ptr<HardwareLink> connect() {
    auto link = HardwareLink::connect(SimulatedMacFolder().descriptor());
    if (!link)
        throw std::runtime_error("No simulated Mac is running here; \"simmac serve\" starts one.");
    return link;
}

template <typename Call>
typename Call::Answer call(const Call& call) {
    return connect()->call(call);
}

void printFans(const std::vector<FanState>& fans) {
    for (const auto& fan : fans)
        std::printf("fan %d  %-9s  %5.0f RPM  target %5.0f  range %.0f...%.0f\n", fan.index,
                    fan.isManual ? "manual" : "automatic", fan.currentRPM.value_or(0), fan.targetRPM.value_or(0),
                    fan.minRPM.value_or(0), fan.maxRPM.value_or(0));
    if (fans.empty())
        std::printf("no fans\n");
}

/// Runs a simulated Mac in this program's folder until the process is asked to stop. Creates the socket folder.
void serve(const std::string& profileName, double heatSpeed, double clockSpeed) {
    const auto profile = Profile::named(profileName);
    if (!profile)
        throw std::runtime_error("There is no profile \"" + profileName + "\".");
    const auto folder = SimulatedMacFolder::makeIfMissing();
    if (!folder.problem().empty())
        throw std::runtime_error("The simulated Mac cannot create its sockets: " + folder.problem() + ".");
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

void fallAsleep(const Sleep& asked) {
    const auto report = call(asked);
    std::printf("asleep %.3f s after it was announced; %d client(s) acknowledged, %d did not\n", report.seconds,
                report.acknowledged, report.missing);
    std::printf("when the last acknowledgement came:\n");
    printFans(report.fans);
}

// The command line.

struct Arguments {
    std::string profile = "laptop";
    double heatSpeed = 1;
    double clockSpeed = 1;
    bool isJSON = false;
    bool isNow = false;
    std::string state;
    double load = 0;
    std::string key;
    std::string value;
    int fan = 0;
    int n = 1;
    std::optional<std::string> answeredKey;
    std::optional<std::string> command;
    int result = 0;
    std::uint32_t size = 0;
    std::string type;
    double seconds = 0;
};

using Actions = std::map<const CLI::App*, std::function<void()>>;

/// A number, or nullopt for "auto".
std::optional<double> numberOrAuto(const std::string& text) {
    double number = 0;
    if (text != "auto")
        std::from_chars(text.data(), text.data() + text.size(), number);
    return text == "auto" ? std::nullopt : std::optional(number);
}

const CLI::Validator isNumberOrAuto(
    [](std::string& text) -> std::string {
        double number = 0;
        const auto* end = text.data() + text.size();
        const auto [parsed, error] = std::from_chars(text.data(), end, number);
        return text == "auto" || (error == std::errc() && parsed == end) ? ""
                                                                         : text + " is neither a number nor \"auto\"";
    },
    "NUMBER|auto");

const CLI::Validator
    isKey([](std::string& text) -> std::string { return text.size() == 4 ? "" : "a key has four characters"; }, "KEY");

const std::map<std::string, ClamshellProperty> lidStates = {
    {"open", false}, {"close", true}, {"text", UnconvertibleProperty{}}};

const std::map<std::string, SMCCommand> controllerCommands = {
    {"info", SMCCommand::readKeyInfo}, {"read", SMCCommand::readBytes}, {"write", SMCCommand::writeBytes}};

std::string profileHelp() {
    std::string help = "The kind of Mac";
    for (const auto& profile : Profile::all())
        help += "\n" + profile.name + ": " + profile.summary;
    return help;
}

void declareServe(CLI::App& app, Arguments& arguments, Actions& actions) {
    auto* serves = app.add_subcommand("serve", "Runs a simulated Mac until it is stopped.");
    serves->add_option("--profile", arguments.profile, profileHelp())
        ->check(CLI::IsMember(Profile::names()))
        ->capture_default_str();
    serves->add_option("--heat-speed", arguments.heatSpeed, "How many times faster the chip heats and cools")
        ->check(CLI::Range(0.001, 1000.0))
        ->capture_default_str();
    serves->add_option("--speed", arguments.clockSpeed, "How many times faster the Mac's own clock runs")
        ->check(CLI::Range(0.01, 1000.0))
        ->capture_default_str();
    actions[serves] = [&] { serve(arguments.profile, arguments.heatSpeed, arguments.clockSpeed); };
}

void declareDriving(CLI::App& app, Arguments& arguments, Actions& actions) {
    auto* shows = app.add_subcommand("show", "Shows the state of the Mac.");
    shows->add_flag("--json", arguments.isJSON, "Prints JSON, which includes the latest writes");
    actions[shows] = [&] { show(arguments.isJSON); };

    auto* lid = app.add_subcommand("lid", "Opens or closes the lid.");
    lid->add_option("state", arguments.state, "open, close, or text for a property that is not a boolean")
        ->required()
        ->check(CLI::IsMember(lidStates));
    actions[lid] = [&] { call(SetLid{lidStates.at(arguments.state)}); };

    auto* sleep = app.add_subcommand("sleep", "Puts the Mac to sleep, waiting up to 30 s for each acknowledgement.");
    sleep->add_flag("--now", arguments.isNow, "Skips asking clients first, as when the user closes the lid");
    actions[sleep] = [&] { fallAsleep({arguments.isNow}); };
    actions[app.add_subcommand("wake", "Wakes the Mac.")] = [] { call(Wake{}); };

    auto* load = app.add_subcommand("load", "Sets how hard the chip works.");
    load->add_option("load", arguments.load, "0 to 1")->required()->check(CLI::Range(0.0, 1.0));
    actions[load] = [&] { call(SetLoad{arguments.load}); };

    auto* set = app.add_subcommand("set", "Holds a key at a value.");
    set->add_option("key", arguments.key, "For example Tp09, the chip's temperature")->required()->check(isKey);
    set->add_option("value", arguments.value, "A number, or auto to release the key")
        ->required()
        ->check(isNumberOrAuto);
    actions[set] = [&] { call(SetKey{arguments.key, numberOrAuto(arguments.value)}); };

    auto* interferes = app.add_subcommand("interfere", "Changes a fan as another program might.");
    interferes->add_option("fan", arguments.fan, "Index of the fan")->required();
    interferes->add_option("speed", arguments.value, "A speed in RPM, or auto to hand the fan back to the system")
        ->required()
        ->check(isNumberOrAuto);
    actions[interferes] = [&] { call(Interfere{arguments.fan, numberOrAuto(arguments.value)}); };
}

void declareFaults(CLI::App& app, Arguments& arguments, Actions& actions) {
    auto* faults = app.add_subcommand("fault", "Makes the controller fail, refuse or lie.");
    faults->require_subcommand(1);

    auto* fail = faults->add_subcommand("fail", "Makes the n-th exchange from now fail.");
    fail->add_option("n", arguments.n, "1 is the next")->required()->check(CLI::Range(1, 1'000'000));
    actions[fail] = [&] { call(FailExchange{arguments.n}); };

    auto* answer =
        faults->add_subcommand("answer", "Answers exchanges with a result byte instead of carrying them out.");
    answer->add_option("result", arguments.result, "The byte, for example 0x84")->required()->check(CLI::Range(1, 255));
    answer->add_option("--key", arguments.answeredKey, "Only exchanges on this key")->check(isKey);
    answer->add_option("--command", arguments.command, "Only exchanges of this command")
        ->check(CLI::IsMember(controllerCommands));
    actions[answer] = [&] {
        const auto& command = arguments.command;
        call(AnswerWith{arguments.answeredKey, command ? std::optional(controllerCommands.at(*command)) : std::nullopt,
                        static_cast<std::uint8_t>(arguments.result)});
    };

    auto* size = faults->add_subcommand("size", "Makes a key report a wrong size.");
    size->add_option("key", arguments.key)->required()->check(isKey);
    size->add_option("size", arguments.size)->required();
    actions[size] = [&] { call(ReportSize{arguments.key, arguments.size}); };

    auto* type = faults->add_subcommand("type", "Makes a key report a wrong type.");
    type->add_option("key", arguments.key)->required()->check(isKey);
    type->add_option("type", arguments.type)->required();
    actions[type] = [&] { call(ReportType{arguments.key, arguments.type}); };

    auto* remove = faults->add_subcommand("remove", "Removes a key permanently.");
    remove->add_option("key", arguments.key)->required()->check(isKey);
    actions[remove] = [&] { call(RemoveKey{arguments.key}); };

    auto* slow = faults->add_subcommand("slow", "Delays the answer to every exchange.");
    slow->add_option("seconds", arguments.seconds)->required()->check(CLI::Range(0.0, 60.0));
    actions[slow] = [&] { call(AnswerSlowly{arguments.seconds}); };

    actions[faults->add_subcommand("clear", "Ends every fault, but does not restore removed keys.")] = [] {
        call(ClearFaults{});
    };
}

int run(int argc, const char* const* argv) {
    CLI::App app{"Runs a simulated Mac and drives one that is already running.", "simmac"};
    app.set_version_flag("--version", "simmac " KELO_VERSION);
    app.require_subcommand(1);
    app.footer("Exit status: 0 success, 1 failed (the reason is on standard error), 2 incorrect usage.");
    Arguments arguments;
    Actions actions;
    declareServe(app, arguments, actions);
    declareDriving(app, arguments, actions);
    declareFaults(app, arguments, actions);
    return runProgram(app, argc, argv, [&] {
        const auto* const chosen = &innermostCommand(app);
        actions.at(chosen)();
        return exit_status::done;
    });
}

} // namespace
} // namespace kelo

int main(int argc, char** argv) { return kelo::run(argc, argv); }
