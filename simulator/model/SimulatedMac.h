#pragma once

#include <functional>
#include <set>
#include <string>
#include <vector>

#include "simulator/model/Profile.h"
#include "simulator/model/SimulatedController.h"

namespace kelo {

/// The Mac hardware that the helper uses: the controller's keys, fans with inertia that the system controls
/// automatically, and a chip that heats under load and is cooled by the fans.
///
/// Every access first brings the simulation up to the time of the given clock, so that the simulation behaves the same
/// in virtual and in real time. Not thread-safe.
class SimulatedMac {
public:
    /// `now` returns seconds and never goes back. The chip heats and cools `heatSpeed` times as fast as a
    /// real one.
    SimulatedMac(const Profile& profile, std::function<double()> now, double heatSpeed = 1.0);

    /// Brings the simulation up to the present and returns its controller.
    SimulatedController& controller();
    /// Brings the simulation up to the present and performs one exchange with its controller.
    std::optional<SMCKeyData> exchange(const SMCKeyData& request, bool callerIsRoot);

    /// Sets the load of the chip, 0...1.
    void setLoad(double load);
    double load() const { return load_; }

    /// Holds a key at a value, so that the simulation no longer changes it. Defines the key as a float if it does not
    /// exist. If the value of the chip's key is not a temperature, the chip keeps its temperature.
    void pin(const std::string& key, double value);
    void unpin(const std::string& key);

    /// While the Mac is asleep, its fans are stopped and its chip uses no power.
    void setAsleep(bool isAsleep);
    bool isAsleep() const { return isAsleep_; }

    /// Sets a fan's speed or mode as another program would.
    void interfereWithSpeed(int fan, double rpm);
    void interfereWithMode(int fan, bool isManual);

    int fanCount() const { return static_cast<int>(fans_.size()); }
    double chipCelsius();

    /// The speed that the system's automatic control sets at a chip temperature.
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
