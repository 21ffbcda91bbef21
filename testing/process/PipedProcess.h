#pragma once

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

extern char** environ; // NOLINT: POSIX declares it nowhere

namespace kelo {

/// A program that a test has started, with pipes to its standard input and from its standard output and error. Killed
/// and reaped with the object, if it has not ended before.
class PipedProcess {
public:
    /// `command` is the program's path followed by its arguments.
    explicit PipedProcess(std::vector<std::string> command) {
        std::array<std::array<int, 2>, 3> pipes{};
        for (auto& ends : pipes)
            if (::pipe2(ends.data(), O_CLOEXEC) != 0)
                throw std::runtime_error("no pipe");
        posix_spawn_file_actions_t actions;
        ::posix_spawn_file_actions_init(&actions);
        ::posix_spawn_file_actions_adddup2(&actions, pipes[0][0], 0);
        ::posix_spawn_file_actions_adddup2(&actions, pipes[1][1], 1);
        ::posix_spawn_file_actions_adddup2(&actions, pipes[2][1], 2);
        std::vector<char*> arguments;
        arguments.reserve(command.size() + 1);
        for (auto& argument : command)
            arguments.push_back(argument.data());
        arguments.push_back(nullptr);
        const int error = ::posix_spawn(&pid_, arguments[0], &actions, nullptr, arguments.data(), environ);
        ::posix_spawn_file_actions_destroy(&actions);
        ::close(pipes[0][0]);
        ::close(pipes[1][1]);
        ::close(pipes[2][1]);
        input_ = pipes[0][1];
        output_ = pipes[1][0];
        error_ = pipes[2][0];
        if (error != 0) {
            pid_ = 0;
            throw std::runtime_error("cannot start " + command[0]);
        }
    }
    PipedProcess(const PipedProcess&) = delete;
    PipedProcess& operator=(const PipedProcess&) = delete;
    ~PipedProcess() {
        if (pid_ != 0) {
            ::kill(pid_, SIGKILL);
            wait();
        }
        for (const int descriptor : {input_, output_, error_})
            if (descriptor >= 0)
                ::close(descriptor);
    }

    pid_t pid() const { return pid_; }

    void closeInput() { ::close(std::exchange(input_, -1)); }

    /// Waits for the next line of standard output; without its line end. What there is when the output ends before.
    std::string readLine() { return readLine(output_); }
    /// The same of standard error.
    std::string readErrorLine() { return readLine(error_); }

    /// All that is left to read, up to the end of the program. For small outputs: a full pipe of the other kind would
    /// stall it.
    std::string readOutput() { return readAll(output_); }
    std::string readError() { return readAll(error_); }

    /// Waits for the end and reaps; the exit status, or -1 for one that a signal ended.
    int wait() {
        int status = 0;
        while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
        }
        pid_ = 0;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

private:
    static ssize_t readSome(int descriptor, char* bytes, std::size_t size) {
        ssize_t count = 0;
        do
            count = ::read(descriptor, bytes, size);
        while (count < 0 && errno == EINTR);
        return count;
    }

    static std::string readLine(int descriptor) {
        std::string line;
        for (char c = 0; readSome(descriptor, &c, 1) == 1 && c != '\n';)
            line += c;
        return line;
    }

    static std::string readAll(int descriptor) {
        std::string all;
        std::array<char, 4096> block{};
        for (ssize_t count = 0; (count = readSome(descriptor, block.data(), block.size())) > 0;)
            all.append(block.data(), static_cast<std::size_t>(count));
        return all;
    }

    pid_t pid_ = 0;
    int input_ = -1;
    int output_ = -1;
    int error_ = -1;
};

} // namespace kelo
