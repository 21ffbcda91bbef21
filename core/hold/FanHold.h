#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "core/fan/Fan.h"
#include "core/hold/FanHoldEvent.h"

namespace kelo {

class Clamshell;
class FanController;
class MainQueue;
class Timer;

/// Holds every fan at one fraction of its speed range.
///
/// A hold keeps the fans in manual mode at their targets, raises them when the chip runs hot, lowers them again slowly,
/// and every `checkInterval` repairs changes made by other programs. It hands the fans back before the system sleeps
/// and, if requested, while the lid is closed, and takes them again afterwards.
///
/// Create it with `std::make_shared`: its timer refers to it weakly. The owner reports sleep and wake, and must call
/// `stop()` before it drops a started hold, since the destructor does not hand the fans back. Main thread only.
class FanHold : public std::enable_shared_from_this<FanHold> {
public:
    using Event = FanHoldEvent;

    /// Does not touch the hardware. The fraction is clamped into 0...1; NaN passes through. `queue` and `clamshell` are
    /// borrowed.
    FanHold(std::shared_ptr<FanController> controller, double fraction, bool handsBackOnLidClose, MainQueue& queue,
            Clamshell& clamshell);
    FanHold(const FanHold&) = delete;
    FanHold& operator=(const FanHold&) = delete;
    ~FanHold();

    /// Seconds between repairs. Read when `start()` makes the timer.
    double checkInterval = 2.0;

    /// The observer, called on the main thread while the hold is still in the step that it reports. It must neither
    /// stop the hold nor replace itself, but it may drop the last reference to the hold. Its exceptions are ignored, so
    /// that a failing log changes nothing.
    std::function<void(const Event&)> onEvent;

    /// Called at the start of each tick, if set. It may stop the hold.
    std::function<void()> onTick;

    /// Takes the fans, or yields at once if the system sleeps (`isAsleep`) or the lid forbids it. Call it once. Blocks
    /// while the controller delays manual mode. Throws the controller's `FanError`; fans taken before the error stay
    /// taken until `stop()`.
    void start(bool isAsleep = false);

    /// Hands the fans back before it returns, because the system is about to sleep.
    void systemWillSleep();

    /// Takes the fans again, because the system has powered on.
    void systemDidWake();

    /// Ends the hold and hands the fans back. Like all steps after `start()`, it does not allocate. Does nothing before
    /// `start()` or after a `stop()`.
    void stop();

    /// Whether the fans run faster than asked because the chip is hot.
    bool isAddingAir() const { return isAddingAir_; }

    /// Whether the hold has yielded the fans for a reason other than sleep.
    bool isYieldedToLid() const { return isHolding_ && !isEngaged_ && !isSleeping_; }

private:
    bool mayHold();
    bool engage();
    bool applyGate();
    double heldFraction();
    void takeChipReading();
    void reassertIfNeeded();
    bool isAnyTargetOff(double fraction);
    void startTimer();
    void tick();
    void announce(const Event& event);

    std::shared_ptr<FanController> controller_;
    double fraction_;
    bool handsBackOnLidClose_;
    MainQueue& queue_;
    Clamshell& clamshell_;
    std::unique_ptr<Timer> timer_;
    bool isHolding_ = false;
    bool isEngaged_ = false;
    bool isSleeping_ = false;
    bool isAddingAir_ = false;
    bool isAnnouncing_ = false;        ///< The observer is running; for an assertion.
    double floor_ = 0;                 ///< The eased fraction of the last evaluation.
    std::vector<double> chipReadings_; ///< Degrees Celsius, oldest first.
    std::vector<Fan> fans_;            ///< The last reading; a member so that its storage is reused.
};

} // namespace kelo
