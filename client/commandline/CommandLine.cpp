#include "client/commandline/CommandLine.h"

#include "client/Arguments.h"
#include "client/Commands.h"
#include "client/ExitStatus.h"
#include "client/Hold.h"
#include "client/commandline/Completions.h"
#include "client/doctor/Doctor.h"

namespace kelo {
namespace {

const CLI::Validator isFraction(
    [](std::string& text) -> std::string {
        return parseFraction(text) ? "" : "\"" + text + "\" is not a fraction (0 to 1, or 0% to 100%)";
    },
    "FRACTION");

const CLI::Validator isDuration(
    [](std::string& text) -> std::string {
        return parseDuration(text) ? "" : "\"" + text + "\" is not a time (for example 90s, 30m or 1h30m)";
    },
    "TIME");

/// A command that asks the helper over one connection.
Command asking(std::function<void(HelperConnection&, Terminal&)> request) {
    return [request = std::move(request)](const Surroundings& surroundings, Terminal& terminal) {
        request(*surroundings.connect(), terminal);
        return exit_status::done;
    };
}

} // namespace

CommandLine::CommandLine() : app_("Shows and holds this Mac's fans through the Kelo helper.", "kelo") {
    app_.set_version_flag("--version", "kelo " KELO_VERSION);
    app_.require_subcommand(1);
    app_.footer("Examples:\n"
                "  kelo status               what the fans do now\n"
                "  kelo hold 50%             holds them at half of their range until Ctrl-C\n"
                "  kelo hold 0.8 --for 30m   holds them for half an hour\n"
                "  kelo watch                shows them until Ctrl-C\n"
                "  kelo doctor               finds out why something does not work\n\n"
                "Exit status: 0 success, 1 the helper refused (the reason is on standard error) or the doctor found\n"
                "something, 2 incorrect usage, 3 the helper cannot be reached or refused the connection.");
    declareStatus();
    declareWatch();
    declareHold();
    declareRequests();
    declareDoctor();
    declareCompletions();
}

void CommandLine::declareStatus() {
    auto* status = app_.add_subcommand("status", "Shows the fans and the chip's temperature.");
    status->add_flag("--json", isJSON_, "Print the helper's JSON as it is");
    status->footer("Examples:\n  kelo status\n  kelo status --json");
    status->callback([this] {
        command_ = asking([this](auto& helper, auto& terminal) { commands::status(helper, terminal, isJSON_); });
    });
}

void CommandLine::declareWatch() {
    auto* watch = app_.add_subcommand("watch", "Shows the fans every second until Ctrl-C.");
    auto* plain = watch->add_flag("--plain", isPlain_, "Print a line each second, on a terminal, too");
    watch->add_flag("--json", isJSON_, "Print the helper's JSON in a line each second")->excludes(plain);
    watch->footer("Examples:\n  kelo watch\n  kelo watch --plain\n  kelo watch --json >readings.json");
    watch->callback([this] {
        command_ = [this](const Surroundings& surroundings, Terminal& terminal) {
            using commands::WatchForm;
            commands::watch(surroundings.connect, terminal,
                            isJSON_    ? WatchForm::json
                            : isPlain_ ? WatchForm::lines
                                       : WatchForm::live);
            return exit_status::done;
        };
    });
}

void CommandLine::declareHold() {
    auto* hold = app_.add_subcommand("hold", "Holds the fans at a fraction of their range until Ctrl-C.");
    hold->add_option("fraction", fraction_, "0 to 1, or 0% to 100%")->required()->check(isFraction);
    hold->add_option("--for", duration_, "How long, for example 90s, 30m or 1h30m; then hand back")->check(isDuration);
    hold->add_flag("--hand-back-on-lid-close", handsBackOnLidClose_, "Hand the fans back while the lid is closed");
    hold->footer("Examples:\n  kelo hold 0.5\n  kelo hold 75% --for 30m\n  kelo hold 50% --hand-back-on-lid-close");
    hold->callback([this] {
        command_ = asking([this](auto& helper, auto& terminal) {
            commands::hold(helper, terminal,
                           {*parseFraction(fraction_), handsBackOnLidClose_,
                            duration_ ? parseDuration(*duration_) : std::nullopt});
        });
    });
}

void CommandLine::declareRequests() {
    app_.add_subcommand("hand-back", "Ends any hold, so that the system controls the fans again.")->callback([this] {
        command_ = asking(commands::handBack);
    });
    app_.add_subcommand("version", "Shows the helper's interface version.")->callback([this] {
        command_ = asking(commands::version);
    });
    app_.add_subcommand("stand-down", "Asks the helper to hand the fans back and exit.")->callback([this] {
        command_ = asking(commands::standDown);
    });
}

void CommandLine::declareDoctor() {
    app_.add_subcommand("doctor", "Finds out whether everything works, and what to do where it does not.")
        ->callback([this] {
            command_ = [](const Surroundings& surroundings, Terminal& terminal) {
                return commands::doctor(surroundings.run, surroundings.executable, terminal);
            };
        });
}

void CommandLine::declareCompletions() {
    auto* completions =
        app_.add_subcommand("completions", "Prints what a shell needs to complete this program's words.");
    completions->add_option("shell", shell_, "bash, zsh or fish")
        ->required()
        ->check(CLI::IsMember({"bash", "zsh", "fish"}));
    completions->footer("Examples:\n  eval \"$(kelo completions bash)\"\n"
                        "  kelo completions fish >~/.config/fish/completions/kelo.fish");
    completions->callback([this] {
        command_ = [this](const Surroundings&, Terminal& terminal) {
            terminal.print(completionsOf(app_, shell_));
            return exit_status::done;
        };
    });
}

} // namespace kelo
