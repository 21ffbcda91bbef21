#include "client/terminal/PosixTerminal.h"

#include <langinfo.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <clocale>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <initializer_list>
#include <utility>

#include "platform/posix/StandardStreams.h"

namespace kelo {
namespace {

#ifdef CLOCK_BOOTTIME
constexpr clockid_t clockIncludingSleep = CLOCK_BOOTTIME;
#else
constexpr clockid_t clockIncludingSleep = CLOCK_MONOTONIC;
#endif

constexpr double longestWait = 3600; // seconds; accepted by select on every system

volatile std::sig_atomic_t stop = 0; ///< The first signal that asked to stop.
volatile std::sig_atomic_t isResized = 0;
volatile std::sig_atomic_t isSuspendRequested = 0;

using Signals = std::initializer_list<int>;

constexpr Signals stops = {SIGINT, SIGTERM, SIGHUP, SIGCHLD};
constexpr Signals changesOfView = {SIGWINCH, SIGTSTP};

void rememberStop(int signal) {
    if (stop == 0 && signal != SIGCHLD)
        stop = signal;
}
void rememberChange(int signal) { (signal == SIGWINCH ? isResized : isSuspendRequested) = 1; }

/// Installs a handler for the signals. Interrupted system calls are restarted, except for waits.
void handle(Signals signals, void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    for (const int signal : signals)
        sigaction(signal, &action, nullptr);
}

/// Changes the signal mask. Returns the previous mask.
sigset_t mask(int how, Signals signals) {
    sigset_t set;
    sigset_t before;
    sigemptyset(&set);
    for (const int signal : signals)
        sigaddset(&set, signal);
    sigprocmask(how, &set, &before);
    return before;
}

std::string_view environment(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? "" : value;
}

bool takesControlSequences() {
    const auto kind = environment("TERM");
    return isatty(STDOUT_FILENO) == 1 && !kind.empty() && kind != "dumb";
}

/// Whether this process belongs to the foreground job. A background job must not draw over the foreground job or read
/// its keys.
bool isInForeground() { return tcgetpgrp(STDOUT_FILENO) == getpgrp(); }

Style styleOfOutput() {
    std::setlocale(LC_CTYPE, "");
    const bool hasUnicode = std::string_view(nl_langinfo(CODESET)) == "UTF-8";
    return {takesControlSequences() && environment("NO_COLOR").empty(), hasUnicode};
}

double seconds() {
    timespec time{};
    clock_gettime(clockIncludingSleep, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

bool prepared() {
    StandardStreams::prepare();
    return true;
}

} // namespace

PosixTerminal::PosixTerminal()
    : areStreamsOpen_(prepared()), isInteractive_(takesControlSequences() && isInForeground()),
      style_(styleOfOutput()) {
    sigprocmask(SIG_SETMASK, nullptr, &unblocked_);
}

PosixTerminal::~PosixTerminal() { endDrawing(); }

void PosixTerminal::print(const std::string& text) { send(output_, text); }

void PosixTerminal::printError(const std::string& text) {
    try {
        send(errors_, text);
    } catch (const OutputFailed&) {
        return; // there is no other stream on which to report the failure
    }
}

void PosixTerminal::send(const Stream& stream, std::string_view text) {
    for (const double end = seconds() + outputPatience_; !sendNow(stream, text) && stop == 0 && seconds() < end;)
        waitUntilReady(-1, stream.descriptor, end - seconds());
}

bool PosixTerminal::sendNow(const Stream& stream, std::string_view& text) {
    while (!text.empty()) {
        const auto written = stream.writer.write(text);
        if (written >= 0)
            text.remove_prefix(static_cast<std::size_t>(written));
        else if (errno == EAGAIN)
            return false;
        else if (errno != EINTR)
            throw OutputFailed(std::strerror(errno), errno == EPIPE);
    }
    return true;
}

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
        mask(SIG_BLOCK, changesOfView); // so that they are delivered only during waits
        takeScreen();
    }
    if (!sendFrame()) // the screen still shows part of the last frame
        return;
    // Erases each row before writing it. Erasing afterwards would delete the last character of a full row, since the
    // cursor stays on it.
    const auto rows = std::max(lines.size(), size().rows);
    for (std::size_t row = 0; row < rows; ++row)
        frame_ +=
            "\033[" + std::to_string(row + 1) + ";1H\033[2K" + (row < lines.size() ? painted(lines[row], style_) : "");
    sendFrame();
}

/// Writes as much of the frame as possible without waiting. Returns whether the frame is complete.
bool PosixTerminal::sendFrame() {
    std::string_view rest = frame_;
    try {
        sendNow(output_, rest);
    } catch (const OutputFailed&) { // the terminal is closed
        rest = {};
    }
    frame_.erase(0, frame_.size() - rest.size());
    return frame_.empty();
}

void PosixTerminal::endDrawing() {
    if (!isDrawing_)
        return;
    restoreScreen();
    handle(changesOfView, SIG_DFL);
    mask(SIG_UNBLOCK, changesOfView);
}

void PosixTerminal::takeScreen() {
    isDrawing_ = true;
    hasKeyboard_ = tcgetattr(STDIN_FILENO, &modes_) == 0;
    if (hasKeyboard_) {
        auto raw = modes_;
        raw.c_lflag &= ~static_cast<tcflag_t>(ECHO | ICANON);
        raw.c_lflag |= NOFLSH;                       // Ctrl-C must not discard part of a frame
        raw.c_iflag &= ~static_cast<tcflag_t>(IXON); // Ctrl-S must not freeze the view
        raw.c_cc[VMIN] = 0;                          // a read never waits, even if another process has read the keys
        raw.c_cc[VTIME] = 0;
        tcsetattr(STDIN_FILENO, TCSANOW, &raw);
    }
    frame_ += "\033[?1049h\033[?25l\033[2J";
}

void PosixTerminal::restoreScreen() {
    isDrawing_ = false;
    frame_ += "\033[0m\033[2J\033[1;1H\033[?25h\033[?1049l";
    for (const double end = seconds() + 1; !sendFrame() && seconds() < end;)
        waitUntilReady(-1, STDOUT_FILENO, end - seconds());
    frame_.clear();
    if (hasKeyboard_) {
        tcsetattr(STDIN_FILENO, TCSANOW, &modes_);
        tcflush(STDIN_FILENO, TCIFLUSH); // the shell must not receive keys typed in the view
    }
    hasKeyboard_ = false;
}

void PosixTerminal::suspend() {
    isSuspendRequested = 0;
    restoreScreen();
    kill(getpid(), SIGSTOP); // execution resumes here when the user continues the process
    takeScreen();
}

void PosixTerminal::readKeys() {
    std::array<char, 64> keys{};
    const auto count = read(STDIN_FILENO, keys.data(), keys.size());
    if (count <= 0)
        hasKeyboard_ = false;
    else if (std::memchr(keys.data(), 'q', static_cast<std::size_t>(count)) != nullptr)
        rememberStop(SIGINT);
}

void PosixTerminal::catchStopSignals() {
    struct sigaction hangUp {};
    sigaction(SIGHUP, nullptr, &hangUp);
    handle(stops, rememberStop);
    if (hangUp.sa_handler == SIG_IGN) // under nohup the process outlives its terminal
        handle({SIGHUP}, SIG_IGN);
}

int PosixTerminal::stopSignal() const { return stop; }

int PosixTerminal::waitUntilReady(int answer, int output, double time) {
    time = std::clamp(time, 0.0, longestWait);
    timespec timeout{};
    timeout.tv_sec = static_cast<time_t>(time);
    timeout.tv_nsec = static_cast<long>((time - std::floor(time)) * 1e9);
    fd_set readable;
    fd_set writable;
    FD_ZERO(&readable);
    FD_ZERO(&writable);
    const bool readsKeys = hasKeyboard_ && output < 0 && isInForeground();
    if (answer >= 0)
        FD_SET(answer, &readable);
    if (readsKeys)
        FD_SET(STDIN_FILENO, &readable);
    if (output >= 0)
        FD_SET(output, &writable);
    const auto before = mask(SIG_BLOCK, stops); // a signal that arrives just before the wait must end the wait
    int ready = -1;
    if (stop == 0 || isStopReported_)
        ready =
            pselect(std::max({answer, output, STDIN_FILENO}) + 1, &readable, &writable, nullptr, &timeout, &unblocked_);
    sigprocmask(SIG_SETMASK, &before, nullptr);
    if (ready > 0 && readsKeys && FD_ISSET(STDIN_FILENO, &readable))
        readKeys();
    return ready > 0 && answer >= 0 && FD_ISSET(answer, &readable);
}

Woken PosixTerminal::waitForAnswer(int descriptor, double time) {
    const bool isAnswered = waitUntilReady(descriptor, -1, time);
    if (stop != 0 && !std::exchange(isStopReported_, true))
        return Woken::byStop;
    if (isAnswered)
        return Woken::byAnswer;
    if (isSuspendRequested != 0 && isDrawing_) {
        suspend();
        isResized = 1; // the screen is empty, and its size may have changed
    }
    if (isResized != 0 && isDrawing_) {
        isResized = 0;
        return Woken::byResize;
    }
    return Woken::byTime;
}

Moment PosixTerminal::now() {
    const std::time_t wallClock = std::time(nullptr);
    std::tm parts{};
    std::array<char, 32> timeOfDay{};
    std::array<char, 32> utc{};
    if (localtime_r(&wallClock, &parts) != nullptr)
        std::strftime(timeOfDay.data(), timeOfDay.size(), "%H:%M:%S", &parts);
    if (gmtime_r(&wallClock, &parts) != nullptr)
        std::strftime(utc.data(), utc.size(), "%Y-%m-%dT%H:%M:%SZ", &parts);
    return {seconds(), timeOfDay.data(), utc.data()};
}

} // namespace kelo
