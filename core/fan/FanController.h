#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "core/fan/Fan.h"
#include "core/fan/FanError.h"
#include "core/fan/Warmth.h"

namespace kelo {

class Clock;
class Rights;
class SMCExchange;

/// The one way to fans and temperature sensors.
///
/// Holds the key client's connection open for its whole life; there is at most one controller in a process. Speeds in
/// RPM, temperatures in degrees Celsius, widened from the controller's own 32-bit floats. A fan index is not checked
/// against `fanCount()`; key names have room for one digit, so fans 0 to 9 can be addressed.
///
/// All calls on one thread. Reads never throw: what cannot be read is left out or is none.
class FanController {
public:
    /// Has the key client talk over `exchange`, opens the connection and counts the fans. All three are borrowed.
    /// Needs no particular rights.
    /// Throws `smcUnavailable`, or `noFans` when there is none or their number cannot be read; the connection is then
    /// closed.
    FanController(SMCExchange& exchange, Clock& clock, Rights& rights);
    FanController(const FanController&) = delete;
    FanController& operator=(const FanController&) = delete;
    /// Closes the connection. Leaves the fans as they are: call `restoreAuto()` first.
    ~FanController();

    /// Seconds for which `engageManual` keeps trying after it used the unlock switch.
    double unlockTimeout = 4.0;

    /// At least 1.
    int fanCount() const { return fanCount_; }
    bool isRoot() const;

    /// The usable fans in order of index. A fan whose speed or range cannot be read, or whose range is empty, is
    /// missing.
    std::vector<Fan> fans() const;
    /// The same into `fans`, whose storage is kept: for those who look again and again.
    void readFans(std::vector<Fan>& fans) const;
    std::optional<double> chipTemperature() const;
    /// By key name; keys that cannot be read are missing.
    std::map<std::string, double> enclosureTemperatures() const;
    /// `cool` when there is no reading.
    Warmth warmth() const;

    /// Takes a fan out of automatic control, with the unlock switch if the controller refuses at first. Returns whether
    /// the switch was needed. Blocks for up to `unlockTimeout`.
    /// Throws `needsRoot`, or `modeRejected`, which leaves the unlock switch on: `restoreAuto()` clears it.
    bool engageManual(int fan);

    /// Sets the speed that a fan in manual mode is steered to, clamped into its range. Returns the clamped speed. NaN
    /// passes through. Does not touch the mode.
    /// Throws `needsRoot`, `noFans` (no valid range) or `targetRejected`.
    double setTarget(int fan, double rpm);

    /// Gives every fan back to automatic control and clears the unlock switch. Tries each of them whatever the others
    /// answered, never fails, and may be called when nothing was ever taken.
    void restoreAuto() noexcept;

private:
    Clock& clock_;
    Rights& rights_;
    int fanCount_ = 0;
};

} // namespace kelo
