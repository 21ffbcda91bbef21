// kelo: reads and holds the fans through the helper.

#include <filesystem>
#include <string>
#include <vector>

#include "client/ExitStatus.h"
#include "client/Readings.h"
#include "client/UsageError.h"
#include "client/commandline/CommandLine.h"
#include "client/doctor/SpawnedCommand.h"
#include "client/terminal/PosixTerminal.h"

namespace kelo {
namespace {

constexpr double commandTimeout = 20; // seconds; a Mac's log takes its time

/// Where the system does not tell, it is found again by the name that it was started by.
std::string ownExecutable(const std::string& name) {
    std::error_code isUnknown;
    const auto path = std::filesystem::read_symlink("/proc/self/exe", isUnknown);
    return isUnknown ? name : path.string();
}

int complain(Terminal& terminal, int status, const std::string& text) {
    terminal.complain(text + "\n");
    return status;
}

int run(int argc, const char* const* argv) {
    CommandLine commandLine;
    PosixTerminal terminal;
    if (const auto status = statusOfParsing(commandLine.app(), argc, argv))
        return *status;
    const std::string advice = "\nkelo doctor looks for the cause and says what to do.";
    const auto runCommand = [](const std::vector<std::string>& command) {
        return spawnedCommand(command, commandTimeout);
    };
    try {
        return commandLine.command()({connectToHelper, runCommand, ownExecutable(argv[0])}, terminal);
    } catch (const HelperRefused& error) {
        return complain(terminal, exit_status::failed, std::string("kelo: ") + error.what() + advice);
    } catch (const HelperUnreachable& error) {
        return complain(terminal, exit_status::unreachable, std::string("kelo: ") + error.what() + advice);
    }
}

} // namespace
} // namespace kelo

int main(int argc, char** argv) { return kelo::run(argc, argv); }
