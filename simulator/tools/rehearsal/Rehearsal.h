#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "simulator/model/Profile.h"
#include "simulator/tools/rehearsal/Onlooker.h"
#include "simulator/tools/rehearsal/Timeline.h"
#include "testing/process/Installation.h"

namespace kelo {

/// Plays a session of about a minute on a staged installation, prints the states of the fans and checks the helper's
/// promises. The session is shorter on a Mac whose fans cannot be held.
class Rehearsal {
public:
    /// `folder` is a staged installation in which nothing runs. The Mac's clock runs `speed` times as fast as real
    /// time. The helper's clock does not, so that the helper's intervals of 2 and 8 seconds do not change. Throws
    /// `std::runtime_error` if the installation does not start.
    Rehearsal(const std::filesystem::path& folder, const Profile& profile, double speed);
    ~Rehearsal();

    /// Plays the session. Returns the number of broken promises.
    int play();

    /// Prints a table of all promises with their outcomes.
    void printSummary() const;

    /// The data of a picture of the session.
    PictureData data() const;
    /// The data of a picture of the screen of `kelo watch` before the client died; null if the fans could not be held.
    const PictureData& watched() const { return watched_; }

private:
    struct Promise {
        double seconds;
        std::string text;
        bool isKept;
    };

    bool canBeHeld() const;
    void playHold();
    void idle();
    void hold();
    void beRefused();
    void heat();
    void interfere();
    void closeLid();
    void sleepAndWake();
    void loseClient();
    void stopHelper();

    void begin(const std::string& title, const std::string& mark);
    void say(const std::string& line);
    void promise(const std::string& text, bool isKept);
    /// Watches the fans until the condition holds, but for at most `seconds`. Returns whether it holds.
    bool watchUntil(const std::function<bool(const nlohmann::json& mac)>& condition, double seconds);
    /// Watches the fans for `seconds` on the Mac's clock.
    void watchFor(double seconds);
    bool watchForLog(const std::string& beginning, double seconds);
    nlohmann::json look();
    Timeline::FanSample sampleOf(const nlohmann::json& fan) const;
    void showNewLogLines();
    bool hasLogged(const std::string& beginning) const;
    double elapsed() const;

    const Profile profile_;
    const double speed_;
    Installation installation_;
    Timeline timeline_{"A session with the helper"};
    std::unique_ptr<ChildProcess> client_;
    std::optional<Onlooker> onlooker_;
    PictureData watched_;
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    bool isAsked_ = false; ///< Whether a client has asked for a hold.
    std::size_t shownLogLines_ = 0;
    std::size_t firstLogLine_ = 0; ///< First log line of the current step.
    double lastPrint_ = -1;
    std::vector<Promise> promises_;
};

} // namespace kelo
