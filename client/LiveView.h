#pragma once

#include <functional>
#include <string>
#include <vector>

#include "client/PatientConnection.h"
#include "client/Surroundings.h"

namespace kelo {

/// Follows the fans during a long-running command: queries the helper, records the readings, and draws the record in
/// place if `isDrawn` is true.
class LiveView {
public:
    struct Texts {
        std::function<std::string()> command; ///< The command and its progress.
        std::string keys;                     ///< An explanation of the keys.
    };

    /// For `limitAfterStop`, see `PatientConnection`. `terminal` must outlive this object, whose destructor restores
    /// the screen.
    LiveView(const Surroundings& surroundings, Terminal& terminal, bool isDrawn, Texts texts, double limitAfterStop);
    LiveView(const LiveView&) = delete;
    LiveView& operator=(const LiveView&) = delete;
    ~LiveView();

    /// The connection to the helper. Reconnects after the connection has been lost, and refuses a helper with a
    /// different interface version. If a request has to wait, informs the user in the view or on standard error.
    HelperConnection& helper() { return helper_; }

    /// Records a reading, or the reason why there is no reading. Both functions return the events since the last
    /// reading.
    std::vector<std::string> observe(const FanSnapshot& snapshot);
    std::vector<std::string> observeFailure(const std::string& reason);
    /// Records an event that does not follow from a reading.
    void note(const std::string& sentence);

    /// Waits until `seconds` after the scheduled end of the last pause, so that readings are evenly spaced. Redraws the
    /// view when the terminal is resized. The user's request to stop ends the pause early.
    void pause(double seconds);
    /// Restores the screen. Later calls draw nothing.
    void end();

private:
    void reportSilence();
    void draw();

    Terminal& terminal_;
    bool isDrawn_;
    const Texts texts_;
    const std::string stopAdvice_;
    std::string waiting_;
    double due_ = 0; ///< The scheduled end of the last pause, on the terminal's clock.
    FanRecord record_;
    PatientConnection helper_;
};

} // namespace kelo
