#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "client/view/LiveLayout.h"

namespace kelo {

/// Standard output takes no more. `what()` says why, in one clause.
class OutputFailed : public std::runtime_error {
public:
    OutputFailed(const std::string& reason, bool isReaderGone) : runtime_error(reason), hasNoReader(isReaderGone) {}

    const bool hasNoReader; ///< The other end of a pipe was closed on purpose, as `head` does.
};

/// Why a wait has ended.
enum class Woken { byTime, byAnswer, byResize, byStop };

/// Where a command runs: what it prints to, and what it waits for. Used from one thread.
class Terminal {
public:
    Terminal() = default;
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;
    virtual ~Terminal() = default;

    /// Prints to standard output. Waits while the output takes nothing, until the user asks to stop. Throws
    /// `OutputFailed`.
    virtual void print(const std::string& text) = 0;
    /// Prints to standard error under the same rules, but drops what cannot be written.
    virtual void complain(const std::string& text) = 0;
    /// From now on text that the output has not taken after a second is dropped, so that nothing waits for it.
    virtual void dropStuckOutput() = 0;

    /// Whether a view can be drawn in place: the output is a terminal that takes control sequences, and this process
    /// runs in the foreground.
    virtual bool isInteractive() const = 0;
    /// What standard output can show.
    virtual Style style() const = 0;
    virtual ScreenSize size() const = 0;

    /// Shows these lines and nothing else; there are at most as many as the screen has rows. A frame that the output
    /// does not take is skipped. The first call takes the screen and the keyboard; nothing may be printed until
    /// `endDrawing` has restored both.
    virtual void draw(const std::vector<Line>& lines) = 0;
    virtual void endDrawing() = 0;

    /// From now on SIGINT, SIGTERM, SIGHUP (unless it was ignored) and, while something is drawn, the key q do not end
    /// the process but end a wait.
    virtual void catchStops() = 0;
    /// The signal by which the user asked to stop, SIGINT for the key; 0 before.
    virtual int stopSignal() const = 0;

    /// Waits for `seconds`, until the size changes while something is drawn, or until the user asks to stop, which ends
    /// one wait only. The end of a child process may end it early, by time.
    virtual Woken wait(double seconds) = 0;
    /// The same, and ends by answer as soon as `descriptor` is readable.
    virtual Woken waitForAnswer(int descriptor, double seconds) = 0;
    /// The current time. The seconds advance while the machine sleeps.
    virtual Moment now() = 0;
};

} // namespace kelo
