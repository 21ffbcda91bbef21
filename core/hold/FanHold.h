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
/// A hold keeps the fans in manual mode at their targets. It raises the targets when the chip runs hot, and lowers them
/// slowly as the chip cools. Every `checkInterval` seconds, it repairs changes made by other programs. It hands the
/// fans back before the system sleeps and, if requested, while the lid is closed, and takes them again afterwards.
///
/// Create it with `std::make_shared`: its timer has a weak pointer to it. The owner reports sleep and wake, and must
/// call `stop()` before it drops a started hold, since the destructor does not hand the fans back. Main thread only.
class FanHold : public std::enable_shared_from_this<FanHold> {
public:
    using Event = FanHoldEvent;

    /// Does not touch the hardware. Clamps the fraction to 0...1; does not change NaN. `queue` and `clamshell` are
    /// borrowed.
    FanHold(std::shared_ptr<FanController> controller, double fraction, bool handsBackOnLidClose, MainQueue& queue,
            Clamshell& clamshell);
    FanHold(const FanHold&) = delete;
    FanHold& operator=(const FanHold&) = delete;
    ~FanHold();

    /// Seconds between repairs. Read when `start()` creates the timer, so later changes have no effect.
    double checkInterval = 2.0;

    /// The observer of events. Called on the main thread while the step that the event reports is still running. It
    /// must neither stop the hold nor replace itself, but it may drop the last reference to the hold. Its exceptions
    /// are ignored, so that a failing log does not affect the hold.
    std::function<void(const Event&)> onEvent;

    /// Called at the start of each tick, if set. It may stop the hold.
    std::function<void()> onTick;

    /// Takes the fans. If the system is asleep (`isAsleep`) or the lid forbids the hold, yields at once instead. Call
    /// it once. Blocks while the controller delays manual mode. Throws the controller's `FanError`; fans taken before
    /// the error stay in manual mode until `stop()`.
    void start(bool isAsleep = false);

    /// Call it when the system is about to sleep. Hands the fans back before returning.
    void systemWillSleep();

    /// Call it when the system has powered on. Takes the fans again unless the lid forbids it.
    void systemDidWake();

    /// Ends the hold and hands the fans back. Like every step after `start()`, it does not allocate. Does nothing if
    /// the hold has not started or has already been stopped.
    void stop();

    /// Whether the fans run faster than requested because the chip is hot.
    bool isAddingAir() const { return isAddingAir_; }

    /// Whether the hold has yielded the fans for a reason other than sleep.
    bool isYieldedToLid() const { return isHolding_ && !isEngaged_ && !isSleeping_; }

private:
    bool mayHold();
    bool engage();
    bool follow();
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
    bool isAnnouncing_ = false;        ///< The observer is running; used only in an assertion.
    double floor_ = 0;                 ///< The eased fraction of the last evaluation.
    std::vector<double> chipReadings_; ///< Degrees Celsius, oldest first.
    std::vector<Fan> fans_;            ///< The last reading; a member so that its storage is reused.
};

} // namespace kelo
