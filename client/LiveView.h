#pragma once

#include <functional>
#include <string>
#include <vector>

#include "client/PatientConnection.h"
#include "client/Surroundings.h"

namespace kelo {

/// The fans while a command stays: asks the helper, keeps a record, and draws it in place if `isDrawn`.
class LiveView {
public:
    /// What the view says of its command.
    struct Texts {
        std::function<std::string()> command; ///< The command and how far it is.
        std::string keys;                     ///< What the keys do.
    };

    /// `limitAfterStop`: see `PatientConnection`. `terminal` must outlive this object, which restores the screen.
    LiveView(const Surroundings& surroundings, Terminal& terminal, bool isDrawn, Texts texts, double limitAfterStop);
    LiveView(const LiveView&) = delete;
    LiveView& operator=(const LiveView&) = delete;
    ~LiveView();

    /// Reconnects when the connection is gone, and refuses a helper of another version. While a request waits, the
    /// view, or else standard error, says so.
    HelperConnection& helper() { return helper_; }

    /// Takes a reading, or the reason why there is none. Both return what has happened since the last one.
    std::vector<std::string> observe(const FanSnapshot& snapshot);
    std::vector<std::string> lack(const std::string& reason);
    /// Takes an event that no reading shows.
    void note(const std::string& sentence);

    /// Waits while the drawn view follows the size of the terminal, until `seconds` after the last pause was due, so
    /// that readings come at an even pace. The user's request to stop ends it early.
    void pause(double seconds);
    /// Restores the screen; from then on nothing is drawn.
    void end();

private:
    void tellOfSilence();
    void draw();

    Terminal& terminal_;
    bool isDrawn_;
    const Texts texts_;
    const std::string stopAdvice_;
    std::string waiting_;
    double due_ = 0; ///< When the last pause should have ended, on the clock of the terminal.
    FanRecord record_;
    PatientConnection helper_;
};

} // namespace kelo
