#pragma once

#include <string>
#include <vector>

#include "client/Terminal.h"

namespace kelo {

/// The record of the fans while a command stays: drawn in place on a terminal, otherwise only kept.
class LiveView {
public:
    /// `footer` is the last row of what is drawn. `terminal` must outlive this object, which gives the screen back.
    LiveView(Terminal& terminal, bool isDrawn, std::string footer);
    LiveView(const LiveView&) = delete;
    LiveView& operator=(const LiveView&) = delete;
    ~LiveView();

    /// Takes a reading, or the reason why there is none. Both return what has happened since the last one.
    std::vector<std::string> observe(const FanSnapshot& snapshot);
    std::vector<std::string> lack(const std::string& reason);

    /// Waits for so long and keeps what is drawn in the terminal's size. Returns false once the user has asked to stop.
    bool wait(double seconds);

private:
    void draw();

    Terminal& terminal_;
    const bool isDrawn_;
    const std::string footer_;
    FanRecord record_;
};

} // namespace kelo
