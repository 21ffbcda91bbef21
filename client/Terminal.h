#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "client/view/LiveLayout.h"

namespace kelo {

/// Thrown if standard output cannot be written to. `what()` gives the reason in one clause.
class OutputFailed : public std::runtime_error {
public:
    OutputFailed(const std::string& reason, bool isReaderGone) : runtime_error(reason), hasNoReader(isReaderGone) {}

    const bool hasNoReader; ///< The reader closed the pipe on purpose, as `head` does.
};

enum class Woken { byTime, byAnswer, byResize, byStop };

/// A command's output, screen, keyboard, stop signals and clock. Used from one thread.
class Terminal {
public:
    Terminal() = default;
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;
    virtual ~Terminal() = default;

    /// Prints to standard output. While the output is blocked, waits until the user asks to stop. Throws
    /// `OutputFailed`.
    virtual void print(const std::string& text) = 0;
    /// Prints to standard error. Like `print`, waits while the output is blocked, but drops text that cannot be
    /// written.
    virtual void printError(const std::string& text) = 0;
    /// From now on, drops text that has been blocked for a second, so that no command waits longer than that for its
    /// output.
    virtual void dropBlockedOutput() = 0;

    /// Whether a view can be drawn in place: the output is a terminal that supports control sequences, and this process
    /// runs in the foreground.
    virtual bool isInteractive() const = 0;
    virtual Style style() const = 0;
    virtual ScreenSize size() const = 0;

    /// Shows only these lines. The caller must not pass more lines than the screen has rows. Skips the frame if the
    /// output is blocked. The first call takes over the screen and the keyboard; the caller must not print until
    /// `endDrawing` has restored both.
    virtual void draw(const std::vector<Line>& lines) = 0;
    virtual void endDrawing() = 0;

    /// From now on, SIGINT, SIGTERM and SIGHUP (unless it was ignored) end a wait instead of the process. While a view
    /// is drawn, so does the key q.
    virtual void catchStopSignals() = 0;
    /// The signal that asked to stop (SIGINT for the key q), or 0 if nothing has asked to stop.
    virtual int stopSignal() const = 0;

    /// Waits for at most `seconds`. Ends early if the user asks to stop or, while a view is drawn, if the terminal is
    /// resized. Each request to stop ends only one wait. If a child process ends, the wait may end early and return
    /// `byTime`.
    virtual Woken wait(double seconds) = 0;
    /// Waits like `wait`, but also ends as soon as `descriptor` is readable; it then returns `byAnswer`.
    virtual Woken waitForAnswer(int descriptor, double seconds) = 0;
    /// The current time. Its `seconds` also advance while the machine sleeps.
    virtual Moment now() = 0;
};

} // namespace kelo
