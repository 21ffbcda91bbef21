// kelo: reads and holds the fans through the helper.

#include <sys/utsname.h>

#include <cstdlib>
#include <exception>
#include <filesystem>
#include <string>
#include <vector>

#include "client/ExitStatus.h"
#include "client/Readings.h"
#include "client/commandline/CommandLine.h"
#include "client/terminal/PosixTerminal.h"
#include "client/terminal/SpawnedCommand.h"

namespace kelo {
namespace {

constexpr double commandTimeout = 20; // seconds; reading the log is slow on a Mac

/// The path of this program if the system reports it; otherwise the name with which the program was started.
std::string ownExecutable(const std::string& name) {
    std::error_code isUnknown;
    const auto path = std::filesystem::read_symlink("/proc/self/exe", isUnknown);
    return isUnknown ? name : path.string();
}

bool isMac() {
    utsname names{};
    return uname(&names) == 0 && std::string(names.sysname) == "Darwin";
}

int printError(Terminal& terminal, int status, const std::string& text) {
    terminal.printError("kelo: " + text + "\n");
    return status;
}

/// Runs the command. Turns an exception into a message and an exit status.
int run(const Command& command, const Surroundings& surroundings, Terminal& terminal) {
    const std::string advice = "\nkelo doctor looks for the cause and says what to do.";
    try {
        return command(surroundings, terminal);
    } catch (const OutputFailed& error) {
        return error.hasNoReader
                   ? exit_status::cannotWrite
                   : printError(terminal, exit_status::cannotWrite, std::string("cannot write: ") + error.what());
    } catch (const OtherVersion& error) {
        return printError(terminal, exit_status::otherVersion, error.what());
    } catch (const HelperUnreachable& error) {
        return printError(terminal, exit_status::unreachable, visible(error.what()) + advice);
    } catch (const std::exception& error) { // the helper has refused, or the system has run out of a resource
        return printError(terminal, exit_status::failed, visible(error.what()) + advice);
    }
}

int run(int argc, const char* const* argv) {
    PosixTerminal terminal; // first, since it reopens closed standard streams
    CommandLine commandLine;
    if (const auto status = commandLine.parse(argc, argv))
        return *status;
    const auto runCommand = [](const CommandWords& command) { return spawnedCommand(command, commandTimeout); };
    const char* home = std::getenv("HOME");
    return run(
        commandLine.command(),
        {connectToHelper, runCommand, startedCompanion, ownExecutable(argv[0]), home == nullptr ? "" : home, isMac()},
        terminal);
}

} // namespace
} // namespace kelo

int main(int argc, char** argv) { return kelo::run(argc, argv); }
