#include "client/terminal/SpawnedCommand.h"

#include <fcntl.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>

#include "platform/posix/FileDescriptor.h"

namespace kelo {
namespace {

constexpr int cannotBeRun = 126;
constexpr int doesNotExist = 127;

/// Starts a process for the command. Returns its identifier, or -1 if that fails. `prepare` runs in the new process
/// before the command. It may make only async-signal-safe calls, since this program has threads.
template <typename Prepare>
pid_t start(const CommandWords& command, Prepare prepare) {
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (const auto& argument : command)
        arguments.push_back(const_cast<char*>(argument.c_str())); // execvp does not change the arguments
    arguments.push_back(nullptr);
    const pid_t process = fork();
    if (process != 0)
        return process;
    std::signal(SIGPIPE, SIG_DFL);
    prepare();
    execvp(arguments[0], arguments.data());
    const bool isMissing = errno == ENOENT;
    const char* reason = isMissing ? "kelo: the command does not exist\n" : "kelo: the command cannot be run\n";
    static_cast<void>(!write(STDERR_FILENO, reason, std::strlen(reason)));
    _exit(isMissing ? doesNotExist : cannotBeRun);
}

/// Waits for the end of a process. Returns its exit status; nullopt if there is no such process or a signal has ended
/// it.
std::optional<int> reaped(pid_t process) {
    int status = 0;
    while (waitpid(process, &status, 0) < 0)
        if (errno != EINTR)
            return std::nullopt;
    return WIFEXITED(status) ? std::optional(WEXITSTATUS(status)) : std::nullopt;
}

} // namespace

std::optional<Ran> spawnedCommand(const CommandWords& command, double timeout) {
    std::array<int, 2> ends{-1, -1};
    if (pipe(ends.data()) != 0)
        return std::nullopt;
    const FileDescriptor reading(ends[0]);
    FileDescriptor writing(ends[1]);
    const auto process = start(command, [&] {
        dup2(open("/dev/null", O_RDONLY), STDIN_FILENO);
        dup2(ends[1], STDOUT_FILENO);
        dup2(ends[1], STDERR_FILENO);
        for (const int end : ends)
            close(end);
        const auto whole = static_cast<time_t>(timeout);
        const auto rest = (timeout - static_cast<double>(whole)) * 1e6;
        const itimerval limit{.it_interval = {}, .it_value = {whole, static_cast<suseconds_t>(rest)}};
        setitimer(ITIMER_REAL, &limit, nullptr); // survives execvp
    });
    writing = FileDescriptor();
    std::string output;
    std::array<char, 4096> block{};
    for (ssize_t count = 0; (count = read(reading.get(), block.data(), block.size())) != 0;)
        if (count > 0)
            output.append(block.data(), static_cast<std::size_t>(count));
        else if (errno != EINTR)
            break;
    const auto status = reaped(process);
    return status && *status != doesNotExist ? std::optional(Ran{*status, output}) : std::nullopt;
}

Companion startedCompanion(const CommandWords& command) {
    const auto process = start(command, [] {});
    return {.status = [process]() -> std::optional<int> {
                int status = cannotBeRun << 8U; // the status if no process was created
                if (process > 0 && waitpid(process, &status, WNOHANG) != process)
                    return std::nullopt;
                return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
            },
            .signal = [process](int signal) { kill(process, signal); }};
}

} // namespace kelo
