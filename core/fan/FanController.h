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

/// Controls the fans and reads the temperature sensors.
///
/// Keeps the key client's connection open for its whole lifetime; there is at most one controller per process. Speeds
/// are in RPM, temperatures in degrees Celsius, both widened from the controller's 32-bit floats. Fan indices are not
/// checked against `fanCount()`; key names have room for one digit, so only fans 0 to 9 can be addressed.
///
/// All calls on one thread. Reads never throw: unreadable values are omitted or nullopt.
class FanController {
public:
    /// Makes `exchange` the key client's transport, opens the connection and counts the fans. All three are borrowed.
    /// Needs no particular rights.
    /// Throws `smcUnavailable`, or `noFans` when there are no fans or their number cannot be read; the connection is
    /// then closed.
    FanController(SMCExchange& exchange, Clock& clock, Rights& rights);
    FanController(const FanController&) = delete;
    FanController& operator=(const FanController&) = delete;
    /// Closes the connection. Leaves the fans as they are: call `restoreAuto()` first.
    ~FanController();

    /// Seconds for which `engageManual` keeps trying after it has set the unlock switch.
    double unlockTimeout = 4.0;

    /// At least 1.
    int fanCount() const { return fanCount_; }
    bool isRoot() const;

    /// The usable fans in order of index. Omits fans whose speed or range cannot be read or whose range is empty.
    std::vector<Fan> fans() const;
    /// Reads the fans into `fans` and reuses its storage.
    void readFans(std::vector<Fan>& fans) const;
    std::optional<double> chipTemperature() const;
    /// By key name; omits keys that cannot be read.
    std::map<std::string, double> enclosureTemperatures() const;
    /// `cool` when there is no reading.
    Warmth warmth() const;

    /// Takes a fan out of automatic control. Sets the unlock switch if the controller refuses at first, and returns
    /// whether it did. Blocks for up to `unlockTimeout`.
    /// Throws `needsRoot`, or `modeRejected`, which leaves the unlock switch on: `restoreAuto()` clears it.
    bool engageManual(int fan);

    /// Sets the target speed of a fan in manual mode, clamped into its range. Returns the clamped speed. NaN passes
    /// through. Does not change the mode.
    /// Throws `needsRoot`, `noFans` (no valid range) or `targetRejected`.
    double setTarget(int fan, double rpm);

    /// Returns every fan to automatic control and clears the unlock switch. Tries all of them even if some refuse,
    /// never fails, and may be called when no fan was taken.
    void restoreAuto() noexcept;

private:
    Clock& clock_;
    Rights& rights_;
    int fanCount_ = 0;
};

} // namespace kelo
