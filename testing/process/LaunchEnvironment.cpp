#include "testing/process/LaunchEnvironment.h"

#include <iterator>

#include "testing/process/ChildProcess.h"
#include "testing/process/Installation.h"

namespace kelo {
namespace {

/// The path of the system log is fixed, and the helper has no settings. So the helper gets a separate /dev with the
/// files that it uses. $0 is the helper's folder.
constexpr const char* replaceDev = R"(
    mkdir -p "$0/dev"
    mount -t tmpfs none "$0/dev"
    : >"$0/dev/null"
    mount --bind /dev/null "$0/dev/null"
    ln -s /proc/self/fd "$0/dev/fd"
    ln -s "$0/log.socket" "$0/dev/log"
    mount --bind "$0/dev" /dev
)";

/// Runs a command with mounts that no other process sees.
constexpr const char* ownMounts[] = {"/usr/bin/unshare", "--mount"};

} // namespace

std::string LaunchEnvironment::refusalOfOwnLog(const std::filesystem::path& folder) {
    const std::string script = std::string("set -e\n") + replaceDev;
    ChildProcess trial(ownMounts[0], {ownMounts[1], "/bin/sh", "-c", script, folder.string()}, folder, "own-log");
    return trial.waitForEnd(10) == 0 ? "" : trial.errors();
}

std::vector<std::string> LaunchEnvironment::command(const std::filesystem::path& folder) const {
    std::string script = "set -e\n";
    if (hasOwnLog)
        script += replaceDev;
    if (descriptors > 0)
        script += "ulimit -n " + std::to_string(descriptors) + "\n";
    script += std::string("exec \"$0/") + Installation::helperName + "\"";
    if (!standardError.empty())
        script += " 2>\"" + standardError.string() + "\"";
    std::vector<std::string> command = {"/bin/sh", "-c", script, folder.string()};
    if (hasOwnLog)
        command.insert(command.begin(), std::begin(ownMounts), std::end(ownMounts));
    return command;
}

} // namespace kelo
