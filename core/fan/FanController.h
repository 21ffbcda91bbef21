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
/// Keeps the key client's connection open until the controller is destroyed. There is at most one `FanController` per
/// process. Speeds are in RPM and temperatures in degrees Celsius; both are converted from the hardware's 32-bit
/// floats. Fan indices are not checked against `fanCount()`. Key names have room for only one digit, so only fans 0 to
/// 9 can be addressed.
///
/// Make all calls on one thread. Reads never throw: they omit values that cannot be read or return nullopt for them.
class FanController {
public:
    /// Makes `exchange` the key client's transport, opens the connection and counts the fans. The arguments are
    /// borrowed. Needs no particular rights.
    /// Throws `smcUnavailable` if the connection cannot be opened. If there are no fans or their number cannot be read,
    /// closes the connection and throws `noFans`.
    FanController(SMCExchange& exchange, Clock& clock, Rights& rights);
    FanController(const FanController&) = delete;
    FanController& operator=(const FanController&) = delete;
    /// Closes the connection. Does not change the fans: call `restoreAuto()` first.
    ~FanController();

    /// The number of seconds for which `engageManual` retries after it has set the unlock switch.
    double unlockTimeout = 4.0;

    /// At least 1.
    int fanCount() const { return fanCount_; }
    bool isRoot() const;

    /// The usable fans in order of index. Omits fans whose speed or range cannot be read or whose range is empty.
    std::vector<Fan> fans() const;
    /// Reads the fans into `fans` and reuses its storage.
    void readFans(std::vector<Fan>& fans) const;
    std::optional<double> chipTemperature() const;
    /// The temperatures by key name; omits keys that cannot be read.
    std::map<std::string, double> enclosureTemperatures() const;
    /// Returns `cool` if there is no reading.
    Warmth warmth() const;

    /// Takes a fan out of automatic control. If the controller refuses at first, sets the unlock switch and retries.
    /// Returns whether it set the switch. Blocks for up to `unlockTimeout`.
    /// Throws `needsRoot` or `modeRejected`. After `modeRejected` the unlock switch is still on; `restoreAuto()` clears
    /// it.
    bool engageManual(int fan);

    /// Sets the target speed of a fan in manual mode, clamped to the fan's range unless it is NaN. Returns the
    /// resulting target speed. Does not change the mode.
    /// Throws `needsRoot`, `noFans` (no valid range) or `targetRejected`.
    double setTarget(int fan, double rpm);

    /// Returns every fan to automatic control and clears the unlock switch. Tries every fan even if some refuse. Never
    /// fails. May be called even if no fan has been taken.
    void restoreAuto() noexcept;

private:
    Clock& clock_;
    Rights& rights_;
    int fanCount_ = 0;
};

} // namespace kelo
