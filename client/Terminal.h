#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "client/view/LiveLayout.h"

namespace kelo {

/// Standard output cannot be written. `what()` gives the reason in one clause.
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

    /// Prints to standard output. Waits while the output is blocked, until the user asks to stop. Throws
    /// `OutputFailed`.
    virtual void print(const std::string& text) = 0;
    /// Prints to standard error in the same way, but drops text that cannot be written.
    virtual void printError(const std::string& text) = 0;
    /// From now on, drops text that has been blocked for a second, so that no command waits for its output.
    virtual void dropBlockedOutput() = 0;

    /// Whether a view can be drawn in place: the output is a terminal that supports control sequences, and this process
    /// runs in the foreground.
    virtual bool isInteractive() const = 0;
    virtual Style style() const = 0;
    virtual ScreenSize size() const = 0;

    /// Shows these lines and nothing else; the caller passes at most as many as the screen has rows. Skips the frame if
    /// the output is blocked. The first call takes over the screen and the keyboard; nothing may be printed until
    /// `endDrawing` has restored both.
    virtual void draw(const std::vector<Line>& lines) = 0;
    virtual void endDrawing() = 0;

    /// From now on, SIGINT, SIGTERM, SIGHUP (unless it was ignored) and, while a view is drawn, the key q end a wait
    /// instead of the process.
    virtual void catchStopSignals() = 0;
    /// The signal that asked to stop, SIGINT for the key q; 0 if there was none.
    virtual int stopSignal() const = 0;

    /// Waits for `seconds`, until the terminal is resized while a view is drawn, or until the user asks to stop, which
    /// ends only one wait. The end of a child process may end it early; it then returns `byTime`.
    virtual Woken wait(double seconds) = 0;
    /// Does the same, but also ends as soon as `descriptor` is readable, and then returns `byAnswer`.
    virtual Woken waitForAnswer(int descriptor, double seconds) = 0;
    /// The current time. Its seconds also advance while the machine sleeps.
    virtual Moment now() = 0;
};

} // namespace kelo
