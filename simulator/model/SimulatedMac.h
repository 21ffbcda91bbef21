#pragma once

#include <functional>
#include <set>
#include <string>
#include <vector>

#include "simulator/model/Profile.h"
#include "simulator/model/SimulatedController.h"

namespace kelo {

/// A Mac's hardware as the helper meets it: the controller's keys, fans with inertia under the system's own automatic
/// control, and a chip that heats with the load and cools with the air.
///
/// Lives on a clock that is passed in and is computed up to the present at every access, so that it behaves the same on
/// virtual time and in a process. No thread of its own; the owner serialises.
class SimulatedMac {
public:
    /// `now` returns seconds and never goes back. `heatSpeed` makes the chip heat and cool that many times as fast.
    SimulatedMac(const Profile& profile, std::function<double()> now, double heatSpeed = 1.0);

    /// The keys as they are now.
    SimulatedController& controller();
    /// One exchange with the controller as it is now.
    std::optional<SMCKeyData> exchange(const SMCKeyData& request, bool callerIsRoot);

    /// The chip's work, 0...1.
    void setLoad(double load);
    double load() const { return load_; }

    /// Holds a key at a value: physics no longer moves it. Defines it as a float if it does not exist. A chip held at a
    /// value that is not a temperature keeps its own until it is released.
    void pin(const std::string& key, double value);
    void unpin(const std::string& key);

    /// While asleep the fans stand still and the chip does not work.
    void setAsleep(bool isAsleep);
    bool isAsleep() const { return isAsleep_; }

    /// Another program takes a fan to a speed of its own, or gives it back to automatic control.
    void interfereWithSpeed(int fan, double rpm);
    void interfereWithMode(int fan, bool isManual);

    int fanCount() const { return static_cast<int>(fans_.size()); }
    double chipCelsius();

    /// The speed to which the system's automatic control would take a fan at a chip temperature.
    static double automaticSpeed(const Profile::FanRange& range, double chipCelsius);

private:
    void advance();
    void step(double seconds);
    void stepFan(std::size_t index, double seconds);
    void stepChip(double seconds);
    void takePinnedChip();
    void publish();
    void publish(const std::string& key, double value);

    Profile profile_;
    std::function<double()> now_;
    double heatSpeed_;
    SimulatedController controller_;
    double time_;
    std::vector<double> fans_; ///< RPM.
    double chipCelsius_;
    double load_ = 0.0;
    bool isAsleep_ = false;
    std::set<std::string> pinned_;
};

} // namespace kelo
