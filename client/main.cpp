// kelo: reads and holds the fans through the helper.

#include <sys/select.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <functional>
#include <iostream>
#include <string>

#include "client/Commands.h"
#include "client/UsageError.h"

namespace kelo {
namespace {

constexpr int done = 0;
constexpr int refused = 1;
constexpr int wrongUsage = 2;
constexpr int unreachable = 3;

volatile std::sig_atomic_t isAskedToStop = 0;

/// SIGINT and SIGTERM are blocked except during pauses, so that a request is never interrupted.
class StopSignals {
public:
    StopSignals() {
        sigset_t stops;
        sigemptyset(&stops);
        struct sigaction action {};
        action.sa_handler = [](int) { isAskedToStop = 1; };
        for (const int signal : {SIGINT, SIGTERM}) {
            sigaddset(&stops, signal);
            sigaction(signal, &action, nullptr);
        }
        sigprocmask(SIG_BLOCK, &stops, &unblocked_);
    }

    bool pause(double seconds) const {
        timespec time{};
        time.tv_sec = static_cast<time_t>(seconds);
        time.tv_nsec = static_cast<long>((seconds - std::floor(seconds)) * 1e9);
        pselect(0, nullptr, nullptr, nullptr, &time, &unblocked_);
        return isAskedToStop == 0;
    }

private:
    sigset_t unblocked_{};
};

using Command = std::function<void(HelperConnection&, Terminal&)>;

struct Arguments {
    bool isJSON = false;
    std::string fraction;
    bool handsBackOnLidClose = false;
};

const CLI::Validator isFraction(
    [](std::string& text) -> std::string {
        return parseFraction(text) ? "" : "\"" + text + "\" is not a fraction (0 to 1, or 0% to 100%)";
    },
    "FRACTION");

/// Declares the command line. Parsing it fills `arguments` and sets `command`.
void declare(CLI::App& app, Arguments& arguments, Command& command) {
    app.set_version_flag("--version", "kelo " KELO_VERSION);
    app.require_subcommand(1);
    app.footer(
        "Exit status: 0 success, 1 the helper refused (the reason is on standard error), 2 incorrect usage, 3 the "
        "helper cannot be reached or refused the connection.");

    auto* status = app.add_subcommand("status", "Shows the fans and the chip's temperature.");
    status->add_flag("--json", arguments.isJSON, "Print the helper's JSON as it is");
    status->callback(
        [&] { command = [&](auto& helper, auto& terminal) { commands::status(helper, terminal, arguments.isJSON); }; });

    auto* hold = app.add_subcommand("hold", "Holds the fans at a fraction of their range until Ctrl-C.");
    hold->add_option("fraction", arguments.fraction, "0 to 1, or 0% to 100%")->required()->check(isFraction);
    hold->add_flag("--hand-back-on-lid-close", arguments.handsBackOnLidClose,
                   "Hand the fans back while the lid is closed");
    hold->callback([&] {
        command = [&](auto& helper, auto& terminal) {
            commands::hold(helper, terminal, *parseFraction(arguments.fraction), arguments.handsBackOnLidClose);
        };
    });

    app.add_subcommand("hand-back", "Ends any hold, so that the system controls the fans again.")->callback([&] {
        command = commands::handBack;
    });
    app.add_subcommand("version", "Shows the helper's interface version.")->callback([&] {
        command = commands::version;
    });
    app.add_subcommand("stand-down", "Asks the helper to hand the fans back and exit.")->callback([&] {
        command = commands::standDown;
    });
    app.add_subcommand("watch", "Shows the fans every second until Ctrl-C.")->callback([&] {
        command = commands::watch;
    });
}

int complain(int status, const std::string& text) {
    std::fprintf(stderr, "%s\n", text.c_str());
    return status;
}

int run(int argc, const char* const* argv) {
    CLI::App app{"Shows and holds this Mac's fans through the Kelo helper.", "kelo"};
    Arguments arguments;
    Command command;
    declare(app, arguments, command);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) // --help or --version
            return app.exit(error);
        return complain(wrongUsage, usageError(app, error));
    }
    const StopSignals signals;
    Terminal terminal{std::cout, isatty(STDOUT_FILENO) == 1, [&](double seconds) { return signals.pause(seconds); }};
    try {
        const auto helper = connectToHelper();
        command(*helper, terminal);
        return done;
    } catch (const HelperRefused& error) {
        return complain(refused, std::string("kelo: ") + error.what());
    } catch (const HelperUnreachable& error) {
        return complain(unreachable, std::string("kelo: ") + error.what());
    }
}

} // namespace
} // namespace kelo

int main(int argc, char** argv) { return kelo::run(argc, argv); }
