#include "client/commandline/CommandLine.h"

#include <algorithm>

#include "client/Arguments.h"
#include "client/Commands.h"
#include "client/ExitStatus.h"
#include "client/Readings.h"
#include "client/UsageError.h"
#include "client/commandline/Completions.h"

namespace kelo {
namespace {

const CLI::Validator isSpeed([](std::string& text) { return parseSpeed(text) ? "" : speedError(text); }, "SPEED");

const CLI::Validator isDuration([](std::string& text) { return parseDuration(text) ? "" : durationError(text); },
                                "TIME");

/// Creates a command that sends requests over one connection; `connected` creates the connection.
Command requestCommand(std::function<void(HelperConnection&, Terminal&)> request, Connect (*connected)(Connect)) {
    return [request = std::move(request), connected](const Surroundings& surroundings, Terminal& terminal) {
        PatientConnection helper(connected(surroundings.connect), terminal, {.onSilence = [&] {
                                     terminal.printError("kelo: " + waitingText(surroundings.stopAdvice()) + "\n");
                                 }});
        request(helper, terminal);
        return exit_status::done;
    };
}

/// Accepts a helper of any version, for requests that every version answers in the same way.
Connect anyVersion(Connect connect) { return connect; }

} // namespace

CommandLine::CommandLine() : app_("Shows and holds this Mac's fans through the Kelo helper.", "kelo") {
    app_.set_version_flag("--version", "kelo " KELO_VERSION);
    app_.require_subcommand(1);
    app_.footer("Examples:\n"
                "  kelo status                 shows the fans\n"
                "  kelo hold 50%               holds them at half of their range until Ctrl-C\n"
                "  kelo hold 3000rpm --for 30m holds them for half an hour\n"
                "  kelo hold 80% -- make -j8   holds them while a command runs\n"
                "  kelo watch                  shows them until Ctrl-C\n"
                "  kelo doctor                 finds the cause of a problem\n\n"
                "Exit status: 0 success, 1 refused or without effect (the reason is on standard error), or the doctor\n"
                "found a fault, 2 incorrect usage, 3 the helper cannot be reached or does not answer, 4 helper and\n"
                "kelo have different versions, 5 the output cannot be written. A hold with a command exits with the\n"
                "status of the command.");
    declareStatus();
    declareWatch();
    declareHold();
    declareRequests();
    declareDoctor();
    declareCompletions();
    declareHelp();
}

std::optional<int> CommandLine::parse(int argc, const char* const* argv) {
    const auto* const end = argv + argc;
    const auto* const separator = std::find(argv, end, std::string("--"));
    if (separator != end)
        companion_.assign(separator + 1, end);
    if (const auto status = statusOfParsing(app_, static_cast<int>(separator - argv), argv))
        return status;
    const bool isHold = app_.got_subcommand("hold");
    if (separator == end || (isHold && !duration_ && !companion_.empty()))
        return std::nullopt;
    std::fprintf(stderr, "kelo: %s; see kelo --help\n",
                 !isHold     ? "only hold takes a command after --"
                 : duration_ ? "--for and a command cannot be used together"
                             : "a command is required after --");
    return exit_status::wrongUsage;
}

const Command& CommandLine::command() const { return commands_.at(&innermostCommand(app_)); }

void CommandLine::declareStatus() {
    auto* status = app_.add_subcommand("status", "Shows the fans and the temperature of the chip.");
    auto* json = status->add_flag("--json", isJSON_, "Print the helper's JSON unchanged");
    status->add_flag("--line", isLine_, "Print one short line, for a status bar")->excludes(json);
    status->footer("Examples:\n  kelo status\n  kelo status --json");
    const auto print = [this](auto& helper, auto& terminal) {
        using commands::StatusForm;
        const auto form = isJSON_ ? StatusForm::json : isLine_ ? StatusForm::line : StatusForm::gauges;
        commands::status(helper, terminal, form);
    };
    commands_[status] = requestCommand(print, sameVersion);
}

void CommandLine::declareWatch() {
    auto* watch = app_.add_subcommand("watch", "Shows the fans until q or Ctrl-C.");
    auto* plain = watch->add_flag("--plain", isPlain_, "Print a line per reading, on a terminal, too");
    watch->add_flag("--json", isJSON_, "Print the helper's JSON and the time in a line per reading")->excludes(plain);
    watch->add_option("--interval", interval_, "Time between two readings; 1s by default")->check(isDuration);
    watch->footer("Examples:\n  kelo watch\n  kelo watch --plain --interval 10s\n  kelo watch --json >readings.json");
    commands_[watch] = [this](const Surroundings& surroundings, Terminal& terminal) {
        using commands::WatchForm;
        const auto form = isJSON_ ? WatchForm::json : isPlain_ ? WatchForm::lines : WatchForm::live;
        commands::watch(surroundings, terminal, form, *parseDuration(interval_));
        return exit_status::done;
    };
}

void CommandLine::declareHold() {
    auto* hold = app_.add_subcommand("hold", "Holds the fans at a speed until Ctrl-C, or while a command runs.");
    hold->add_option("speed", speed_, "0 to 1 or 0% to 100% of the range, or RPM of the fastest fan (3000rpm)")
        ->required()
        ->check(isSpeed);
    hold->add_option("--for", duration_, "Duration, for example 90s, 30m or 1h30m; then hand back")->check(isDuration);
    hold->add_flag("--hand-back-on-lid-close", handsBackOnLidClose_, "Hand the fans back while the lid is closed");
    hold->footer("Examples:\n  kelo hold 0.5\n  kelo hold 75% --for 30m\n  kelo hold 50% --hand-back-on-lid-close\n"
                 "  kelo hold 3000rpm\n  kelo hold 80% -- make -j8   exits with the status of the command");
    commands_[hold] = [this](const Surroundings& surroundings, Terminal& terminal) {
        return commands::hold(surroundings, terminal,
                              {*parseSpeed(speed_), handsBackOnLidClose_,
                               duration_ ? parseDuration(*duration_) : std::nullopt, companion_});
    };
}

void CommandLine::declareRequests() {
    const auto declare = [this](const char* name, const char* description,
                                void (*request)(HelperConnection&, Terminal&)) {
        commands_[app_.add_subcommand(name, description)] = requestCommand(request, anyVersion);
    };
    declare("hand-back", "Ends any hold, so that the system controls the fans again.", commands::handBack);
    declare("version", "Compares the helper's interface version with this program's.", commands::version);
    declare("stand-down", "Asks the helper to hand the fans back and exit.", commands::standDown);
}

void CommandLine::declareDoctor() {
    auto* doctor = app_.add_subcommand("doctor", "Checks that everything works, and suggests fixes.");
    doctor->add_flag("--report", isReport_, "Print a report to attach to a bug report, without private details");
    commands_[doctor] = [this](const Surroundings& surroundings, Terminal& terminal) {
        return commands::doctor(surroundings, terminal, isReport_ ? "kelo " KELO_VERSION : "");
    };
}

void CommandLine::declareCompletions() {
    auto* completions = app_.add_subcommand("completions", "Prints the completion script for a shell.");
    completions->add_option("shell", shell_, "bash, zsh or fish")
        ->required()
        ->check(CLI::IsMember({"bash", "zsh", "fish"}));
    completions->footer("Examples:\n  eval \"$(kelo completions bash)\"\n"
                        "  kelo completions fish >~/.config/fish/completions/kelo.fish");
    commands_[completions] = [this](const Surroundings&, Terminal& terminal) {
        terminal.print(completionsOf(app_, shell_));
        return exit_status::done;
    };
}

void CommandLine::declareHelp() {
    std::vector<std::string> topics;
    for (const auto* command : app_.get_subcommands([](const CLI::App*) { return true; }))
        topics.push_back(command->get_name());
    auto* help = app_.add_subcommand("help", "Shows help for kelo or one of its commands.");
    help->add_option("topic", topic_, "A command")->check(CLI::IsMember(topics));
    commands_[help] = [this](const Surroundings&, Terminal& terminal) {
        const auto* const topic = topic_.empty() ? &app_ : app_.get_subcommand(topic_);
        const std::string name = topic_.empty() ? "kelo" : "kelo " + topic_;
        terminal.print(app_.get_formatter()->make_help(topic, name, CLI::AppFormatMode::Normal));
        return exit_status::done;
    };
}

} // namespace kelo
