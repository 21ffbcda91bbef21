#include "client/doctor/SpawnedCommand.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <utility>

extern char** environ; // NOLINT: POSIX declares it nowhere

namespace kelo {
namespace {

using Clock = std::chrono::steady_clock;

class Pipe {
public:
    Pipe() { isOpen_ = pipe(ends_.data()) == 0; }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;
    ~Pipe() {
        closeWriting();
        if (isOpen_)
            close(ends_[0]);
    }

    bool isOpen() const { return isOpen_; }
    int reading() const { return ends_[0]; }
    int writing() const { return ends_[1]; }
    void closeWriting() {
        const int end = std::exchange(ends_[1], -1);
        if (isOpen_ && end >= 0)
            close(end);
    }

private:
    std::array<int, 2> ends_{-1, -1};
    bool isOpen_ = false;
};

/// Starts the command with its output in the pipe; none when it cannot be run.
std::optional<pid_t> started(const std::vector<std::string>& command, const Pipe& pipe) {
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (const auto& argument : command)
        arguments.push_back(const_cast<char*>(argument.c_str())); // posix_spawnp changes none of them
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, pipe.writing(), STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, pipe.writing(), STDERR_FILENO);
    posix_spawn_file_actions_addclose(&actions, pipe.reading());
    posix_spawn_file_actions_addclose(&actions, pipe.writing());
    pid_t process = 0;
    const int error = posix_spawnp(&process, arguments[0], &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    return error == 0 ? std::optional(process) : std::nullopt;
}

/// All that comes until the end; none when that has not come in time.
std::optional<std::string> readToEnd(int descriptor, double timeout) {
    const auto deadline =
        Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(timeout));
    std::string all;
    std::array<char, 4096> block{};
    for (;;) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        pollfd waiting = {descriptor, POLLIN, 0};
        if (left <= 0 || (poll(&waiting, 1, static_cast<int>(left)) < 0 && errno != EINTR))
            return std::nullopt;
        if (waiting.revents == 0)
            continue;
        const auto count = read(descriptor, block.data(), block.size());
        if (count == 0)
            return all;
        if (count > 0)
            all.append(block.data(), static_cast<std::size_t>(count));
        else if (errno != EINTR)
            return std::nullopt;
    }
}

/// Its exit status; none when a signal has ended it.
std::optional<int> reaped(pid_t process) {
    int status = 0;
    while (waitpid(process, &status, 0) < 0)
        if (errno != EINTR)
            return std::nullopt;
    return WIFEXITED(status) ? std::optional(WEXITSTATUS(status)) : std::nullopt;
}

} // namespace

std::optional<Ran> spawnedCommand(const std::vector<std::string>& command, double timeout) {
    Pipe pipe;
    const auto process = pipe.isOpen() ? started(command, pipe) : std::nullopt;
    if (!process)
        return std::nullopt;
    pipe.closeWriting();
    const auto output = readToEnd(pipe.reading(), timeout);
    if (!output)
        kill(*process, SIGKILL);
    const auto status = reaped(*process);
    if (!output || !status)
        return std::nullopt;
    return Ran{*status, *output};
}

} // namespace kelo
