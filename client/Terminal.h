#pragma once

#include <string>
#include <vector>

#include "client/view/LiveLayout.h"

namespace kelo {

/// Why a wait has ended.
enum class Woken { byTime, byResize, byStop };

/// Where a command runs: what it prints to, and what it waits on. Used from one thread.
class Terminal {
public:
    Terminal() = default;
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;
    virtual ~Terminal() = default;

    /// Prints to standard output, at once.
    virtual void print(const std::string& text) = 0;
    /// Prints to standard error, at once.
    virtual void complain(const std::string& text) = 0;

    /// Whether a view can be drawn in place: the output goes to a terminal that takes control sequences, and this
    /// process is the one that its user looks at.
    virtual bool isInteractive() const = 0;
    /// What standard output can show.
    virtual Style style() const = 0;
    virtual ScreenSize size() const = 0;

    /// Shows nothing but these lines, of which there are not more than the screen has rows. The first call takes the
    /// screen; nothing may be printed until `endDrawing` has given it back as it was.
    virtual void draw(const std::vector<Line>& lines) = 0;
    virtual void endDrawing() = 0;

    /// From now on the user's wish to stop does not end the process at once but shows in `wait`. A process that has not
    /// ended `patience` seconds later waits for a helper that does not answer: it ends with `status`, and unless that
    /// is 0 it says so.
    virtual void catchStops(unsigned patience, int status) = 0;
    /// Waits for so long, or until the size changes while something is drawn, or the user has asked to stop.
    virtual Woken wait(double seconds) = 0;
    /// Now; the seconds go on while the machine sleeps.
    virtual Moment now() = 0;
};

} // namespace kelo
