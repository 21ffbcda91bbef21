#include "client/terminal/PosixTerminal.h"

#include <langinfo.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <clocale>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <initializer_list>
#include <string_view>

#include "client/ExitStatus.h"

namespace kelo {
namespace {

#ifdef CLOCK_BOOTTIME
constexpr clockid_t clockThatNeverSleeps = CLOCK_BOOTTIME;
#else
constexpr clockid_t clockThatNeverSleeps = CLOCK_MONOTONIC;
#endif

volatile std::sig_atomic_t isAskedToStop = 0;
volatile std::sig_atomic_t isResized = 0;
volatile std::sig_atomic_t isAskedToSuspend = 0;

using Signals = std::initializer_list<int>;

constexpr Signals stops = {SIGINT, SIGTERM};
constexpr Signals changesOfView = {SIGWINCH, SIGTSTP};

void rememberChange(int signal) { (signal == SIGWINCH ? isResized : isAskedToSuspend) = 1; }

/// What a signal interrupts goes on afterwards, except for a wait.
void handle(Signals signals, void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    for (const int signal : signals)
        sigaction(signal, &action, nullptr);
}

/// Returns the mask as it was.
sigset_t mask(int how, Signals signals) {
    sigset_t set;
    sigset_t before;
    sigemptyset(&set);
    for (const int signal : signals)
        sigaddset(&set, signal);
    sigprocmask(how, &set, &before);
    return before;
}

/// What cannot be written is lost: there is nobody else to tell.
void writeAll(int descriptor, std::string_view text) {
    std::size_t done = 0;
    while (done < text.size()) {
        const auto written = ::write(descriptor, text.data() + done, text.size() - done);
        if (written < 0 && errno != EINTR)
            return;
        done += written > 0 ? static_cast<std::size_t>(written) : 0;
    }
}

std::string_view environment(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? "" : value;
}

bool takesControlSequences() {
    const auto kind = environment("TERM");
    return isatty(STDOUT_FILENO) == 1 && !kind.empty() && kind != "dumb";
}

/// A job in the background would draw over what its user does in the foreground.
bool isInForeground() { return tcgetpgrp(STDOUT_FILENO) == getpgrp(); }

Style styleOfOutput() {
    std::setlocale(LC_CTYPE, "");
    const bool hasUnicode = std::string_view(nl_langinfo(CODESET)) == "UTF-8";
    return {takesControlSequences() && environment("NO_COLOR").empty(), hasUnicode};
}

} // namespace

PosixTerminal* PosixTerminal::catching = nullptr;

PosixTerminal::PosixTerminal() : isInteractive_(takesControlSequences() && isInForeground()), style_(styleOfOutput()) {
    sigprocmask(SIG_SETMASK, nullptr, &unblocked_);
}

PosixTerminal::~PosixTerminal() {
    endDrawing();
    alarm(0); // `leave` would find nothing here
}

void PosixTerminal::print(const std::string& text) { writeAll(STDOUT_FILENO, text); }

void PosixTerminal::complain(const std::string& text) { writeAll(STDERR_FILENO, text); }

ScreenSize PosixTerminal::size() const {
    winsize window{};
    ScreenSize size;
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &window) == 0 && window.ws_col > 0 && window.ws_row > 0)
        size = {window.ws_col, window.ws_row};
    return size;
}

void PosixTerminal::draw(const std::vector<Line>& lines) {
    if (!isDrawing_) {
        handle(changesOfView, rememberChange);
        mask(SIG_BLOCK, changesOfView); // except during waits
        takeScreen();
    }
    // Each row is erased before it is written: after a full one the cursor stands on its last character.
    std::string frame;
    const auto rows = std::max(lines.size(), size().rows);
    for (std::size_t row = 0; row < rows; ++row)
        frame +=
            "\033[" + std::to_string(row + 1) + ";1H\033[2K" + (row < lines.size() ? painted(lines[row], style_) : "");
    writeAll(STDOUT_FILENO, frame);
}

void PosixTerminal::endDrawing() {
    if (!isDrawing_)
        return;
    giveScreenBack();
    handle(changesOfView, SIG_DFL);
    mask(SIG_UNBLOCK, changesOfView);
}

void PosixTerminal::takeScreen() {
    isDrawing_ = true;
    if (tcgetattr(STDIN_FILENO, &modes_) == 0) {
        auto silent = modes_;
        silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        tcsetattr(STDIN_FILENO, TCSADRAIN, &silent);
    }
    writeAll(STDOUT_FILENO, "\033[?1049h\033[?25l\033[2J");
}

void PosixTerminal::giveScreenBack() {
    isDrawing_ = false;
    writeAll(STDOUT_FILENO, "\033[0m\033[2J\033[1;1H\033[?25h\033[?1049l");
    termios current{};
    if (tcgetattr(STDIN_FILENO, &current) == 0)      // otherwise there were no modes to keep
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &modes_); // what was typed into the view is not for the shell
}

void PosixTerminal::suspend() {
    isAskedToSuspend = 0;
    giveScreenBack();
    kill(getpid(), SIGSTOP); // goes on from here when the user wants it to
    takeScreen();
}

void PosixTerminal::catchStops(unsigned patience, int status) {
    catching = this;
    patience_ = patience;
    statusWhenStuck_ = status;
    handle({SIGALRM}, leave);
    handle(stops, rememberStop);
}

void PosixTerminal::rememberStop(int) {
    if (isAskedToStop == 0) // who asks again and again does not have to wait for longer
        alarm(catching->patience_);
    isAskedToStop = 1;
}

/// Runs in the middle of whatever the process does, so it may only do what a signal's handler may.
void PosixTerminal::leave(int) {
    if (catching->isDrawing_)
        catching->giveScreenBack();
    if (catching->statusWhenStuck_ != exit_status::done)
        writeAll(STDERR_FILENO, "kelo: The helper does not answer.\n");
    _exit(catching->statusWhenStuck_);
}

Woken PosixTerminal::wait(double seconds) {
    timespec time{};
    time.tv_sec = static_cast<time_t>(seconds);
    time.tv_nsec = static_cast<long>((seconds - std::floor(seconds)) * 1e9);
    const auto before = mask(SIG_BLOCK, stops); // one that comes just before the wait shall end it
    if (isAskedToStop == 0)
        pselect(0, nullptr, nullptr, nullptr, &time, &unblocked_);
    sigprocmask(SIG_SETMASK, &before, nullptr);
    if (isAskedToStop != 0)
        return Woken::byStop;
    if (isAskedToSuspend != 0 && isDrawing_) {
        suspend();
        isResized = 1; // the screen is empty, and may have changed
    }
    if (isResized != 0 && isDrawing_) {
        isResized = 0;
        return Woken::byResize;
    }
    return Woken::byTime;
}

Moment PosixTerminal::now() {
    timespec time{};
    clock_gettime(clockThatNeverSleeps, &time);
    const std::time_t wallClock = std::time(nullptr);
    std::tm local{};
    char text[16] = "";
    if (localtime_r(&wallClock, &local) != nullptr)
        std::strftime(text, sizeof text, "%H:%M:%S", &local);
    return {static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9, text};
}

} // namespace kelo
