#pragma once

#include <functional>
#include <string>
#include <vector>

#include "client/PatientConnection.h"
#include "client/Surroundings.h"

namespace kelo {

/// Follows the fans during a long-running command: queries the helper, keeps a record, and draws it in place if
/// `isDrawn`.
class LiveView {
public:
    struct Texts {
        std::function<std::string()> command; ///< The command and its progress.
        std::string keys;                     ///< What the keys do.
    };

    /// `limitAfterStop`: see `PatientConnection`. `terminal` must outlive this object, which restores the screen.
    LiveView(const Surroundings& surroundings, Terminal& terminal, bool isDrawn, Texts texts, double limitAfterStop);
    LiveView(const LiveView&) = delete;
    LiveView& operator=(const LiveView&) = delete;
    ~LiveView();

    /// Reconnects when the connection is lost, and refuses a helper of another version. Tells the user, in the view or
    /// on standard error, that a request is waiting.
    HelperConnection& helper() { return helper_; }

    /// Records a reading, or the reason why there is none. Both return the events since the last reading.
    std::vector<std::string> observe(const FanSnapshot& snapshot);
    std::vector<std::string> observeFailure(const std::string& reason);
    /// Records an event that no reading shows.
    void note(const std::string& sentence);

    /// Waits until `seconds` after the last pause was due to end, so that readings are evenly spaced. Redraws the view
    /// when the terminal is resized. The user's request to stop ends the pause early.
    void pause(double seconds);
    /// Restores the screen; nothing is drawn afterwards.
    void end();

private:
    void reportSilence();
    void draw();

    Terminal& terminal_;
    bool isDrawn_;
    const Texts texts_;
    const std::string stopAdvice_;
    std::string waiting_;
    double due_ = 0; ///< When the last pause should have ended, on the terminal's clock.
    FanRecord record_;
    PatientConnection helper_;
};

} // namespace kelo
