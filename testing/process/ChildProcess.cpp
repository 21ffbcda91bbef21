#include "testing/process/ChildProcess.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <fstream>
#include <sstream>
#include <system_error>
#include <thread>

namespace kelo {
namespace {

std::string contents(const std::filesystem::path& file) {
    std::ostringstream text;
    text << std::ifstream(file, std::ios::binary).rdbuf();
    return text.str();
}

/// Truncates the file, so that no test reads output from an earlier process.
FileDescriptor openEmpty(const std::filesystem::path& file) {
    FileDescriptor descriptor(open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0644));
    if (!descriptor.isValid())
        throw std::system_error(errno, std::generic_category(), file.string());
    return descriptor;
}

/// Runs in the new process, where only calls that are safe after a fork are allowed.
[[noreturn]] void become(const char* executable, char* const* arguments, int input, int output, int errors) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    dup2(input, STDIN_FILENO);
    dup2(output, STDOUT_FILENO);
    dup2(errors, STDERR_FILENO);
    execv(executable, arguments);
    _exit(127);
}

} // namespace

ChildProcess::ChildProcess(const std::filesystem::path& executable, const std::vector<std::string>& arguments,
                           const std::filesystem::path& folder, const std::string& name)
    : outputFile_(folder / (name + ".out")), errorFile_(folder / (name + ".err")) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        throw std::system_error(errno, std::generic_category(), "pipe2");
    const FileDescriptor reading(ends[0]);
    input_ = FileDescriptor(ends[1]);
    const auto output = openEmpty(outputFile_);
    const auto errors = openEmpty(errorFile_);
    std::vector<char*> argv = {const_cast<char*>(executable.c_str())}; // execv changes none of them
    for (const auto& argument : arguments)
        argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    number_ = fork();
    if (number_ < 0)
        throw std::system_error(errno, std::generic_category(), "fork");
    if (number_ == 0)
        become(executable.c_str(), argv.data(), reading.get(), output.get(), errors.get());
}

ChildProcess::~ChildProcess() {
    if (status())
        return;
    signal(SIGKILL);
    waitpid(number_, nullptr, 0);
}

void ChildProcess::signal(int signal) const { kill(number_, signal); }

void ChildProcess::writeInput(const std::string& text) const {
    const auto written = write(input_.get(), text.data(), text.size());
    static_cast<void>(written); // fails only if the process has ended, as its status then shows
}

std::optional<int> ChildProcess::status() {
    int state = 0;
    if (!status_ && waitpid(number_, &state, WNOHANG) == number_)
        status_ = WIFEXITED(state) ? WEXITSTATUS(state) : 128 + WTERMSIG(state);
    return status_;
}

std::optional<int> ChildProcess::waitForEnd(double seconds) {
    waitUntil([this] { return status().has_value(); }, seconds);
    return status_;
}

std::string ChildProcess::readLine() {
    waitUntil([this] { return output().find('\n', linesEnd_) != std::string::npos || status().has_value(); }, 60);
    const auto text = output().substr(linesEnd_);
    auto line = text.substr(0, text.find('\n'));
    linesEnd_ += std::min(line.size() + 1, text.size());
    return line;
}

std::string ChildProcess::output() const { return contents(outputFile_); }

std::string ChildProcess::errors() const { return contents(errorFile_); }

bool waitUntil(const std::function<bool()>& condition, double seconds) {
    using Clock = std::chrono::steady_clock;
    const auto deadline = Clock::now() + std::chrono::duration<double>(seconds);
    while (!condition()) {
        if (Clock::now() >= deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

} // namespace kelo
