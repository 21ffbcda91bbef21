#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "simulator/tools/rehearsal/Timeline.h"
#include "tests/support/process/Installation.h"

namespace kelo {

/// Plays a session of about a minute on a staged installation, prints what happens to the fans, and checks the helper's
/// promises on the way.
class Rehearsal {
public:
    /// `folder` is a staged installation in which nothing runs. Throws `std::runtime_error` when it does not come up.
    explicit Rehearsal(const std::filesystem::path& folder);
    ~Rehearsal();

    /// Plays the session. Returns how many promises were broken.
    int play();

    const Timeline& timeline() const { return timeline_; }

private:
    void idle();
    void hold();
    void heat();
    void interfere();
    void closeLid();
    void sleepAndWake();
    void loseClient();
    void stopHelper();

    void begin(const std::string& title, const std::string& mark);
    void say(const std::string& line);
    void promise(const std::string& text, bool isKept);
    /// Watches the fans until the condition holds, up to `seconds`.
    bool watchUntil(const std::function<bool(const nlohmann::json& mac)>& condition, double seconds);
    void watchFor(double seconds);
    bool watchForLog(const std::string& beginning, double seconds);
    nlohmann::json look();
    void showNewLogLines();
    bool hasLogged(const std::string& beginning) const;
    double elapsed() const;

    Installation installation_;
    Timeline timeline_;
    std::unique_ptr<ChildProcess> client_;
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    std::size_t shownLogLines_ = 0;
    std::size_t firstLogLine_ = 0; ///< Of the step that is being played.
    double lastPrint_ = -1;
    int kept_ = 0;
    int broken_ = 0;
};

} // namespace kelo
