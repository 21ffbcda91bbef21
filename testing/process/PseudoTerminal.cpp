#include "testing/process/PseudoTerminal.h"

#include <fcntl.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/wait.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>

namespace kelo {
namespace {

winsize sizeOf(unsigned columns, unsigned rows) {
    winsize size{};
    size.ws_col = static_cast<unsigned short>(columns);
    size.ws_row = static_cast<unsigned short>(rows);
    return size;
}

std::vector<char*> pointersTo(const std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (const auto& text : texts)
        pointers.push_back(const_cast<char*>(text.c_str())); // execve changes none of them
    pointers.push_back(nullptr);
    return pointers;
}

std::string nameOf(const std::string& variable) { return variable.substr(0, variable.find('=') + 1); }

/// This process's environment with the changes.
std::vector<std::string> changed(const std::vector<std::string>& changes) {
    auto all = changes;
    for (char** variable = environ; *variable != nullptr; ++variable) {
        bool isChanged = false;
        for (const auto& change : changes)
            isChanged = isChanged || nameOf(change) == nameOf(*variable);
        if (!isChanged)
            all.emplace_back(*variable);
    }
    return all;
}

} // namespace

PseudoTerminal::PseudoTerminal(const std::filesystem::path& executable, const std::vector<std::string>& arguments,
                               unsigned columns, unsigned rows, const std::vector<std::string>& environment) {
    std::vector<std::string> words = {executable.string()};
    words.insert(words.end(), arguments.begin(), arguments.end());
    const auto variables = changed(environment);
    const auto argv = pointersTo(words);
    const auto envp = pointersTo(variables);
    const auto size = sizeOf(columns, rows);
    int master = -1;
    number_ = forkpty(&master, nullptr, nullptr, &size);
    if (number_ < 0)
        throw std::system_error(errno, std::generic_category(), "forkpty");
    if (number_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        execve(executable.c_str(), argv.data(), envp.data());
        _exit(127);
    }
    master_ = FileDescriptor(master);
    fcntl(master, F_SETFL, O_NONBLOCK);
    fcntl(master, F_SETFD, FD_CLOEXEC);
}

PseudoTerminal::~PseudoTerminal() {
    if (status())
        return;
    signal(SIGKILL);
    waitpid(number_, nullptr, 0);
}

void PseudoTerminal::resize(unsigned columns, unsigned rows) const {
    const auto size = sizeOf(columns, rows);
    ioctl(master_.get(), TIOCSWINSZ, &size);
}

void PseudoTerminal::type(const std::string& keys) const {
    const auto written = write(master_.get(), keys.data(), keys.size());
    static_cast<void>(written); // if the keys are lost, the test sees no effect of them
}

void PseudoTerminal::signal(int signal) const { kill(number_, signal); }

std::string PseudoTerminal::readNew() const {
    std::string text;
    std::array<char, 4096> block{};
    for (ssize_t count = 0; (count = read(master_.get(), block.data(), block.size())) > 0;)
        text.append(block.data(), static_cast<std::size_t>(count));
    return text;
}

bool PseudoTerminal::isEchoing() const {
    termios modes{};
    return tcgetattr(master_.get(), &modes) == 0 && (modes.c_lflag & ECHO) != 0;
}

bool PseudoTerminal::isStopped() {
    updateStatus();
    return isStopped_;
}

std::optional<int> PseudoTerminal::status() {
    updateStatus();
    return status_;
}

void PseudoTerminal::updateStatus() {
    int state = 0;
    while (!status_ && waitpid(number_, &state, WNOHANG | WUNTRACED | WCONTINUED) == number_) {
        isStopped_ = WIFSTOPPED(state);
        if (WIFEXITED(state))
            status_ = WEXITSTATUS(state);
        else if (WIFSIGNALED(state))
            status_ = 128 + WTERMSIG(state);
    }
}

} // namespace kelo
