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

/// Holds every fan at one fraction of its speed range for as long as it is wanted, and no longer.
///
/// While it holds, it keeps the fans in manual mode at their targets, raises them when the chip runs hot, lets them
/// fall back slowly, and every `checkInterval` repairs what other programs have changed. It gives the fans back before
/// the system sleeps and, if asked to, while the lid is closed, and takes them again afterwards.
///
/// To be made with `std::make_shared`: its timer refers to it weakly. The owner reports sleep and wake, and calls
/// `stop()` before it drops a started hold; dropping one hands nothing back. Main thread only.
class FanHold : public std::enable_shared_from_this<FanHold> {
public:
    using Event = FanHoldEvent;

    /// Touches no hardware. The fraction is clamped into 0...1; NaN passes through. `queue` and `clamshell` are
    /// borrowed.
    FanHold(std::shared_ptr<FanController> controller, double fraction, bool handsBackOnLidClose, MainQueue& queue,
            Clamshell& clamshell);
    FanHold(const FanHold&) = delete;
    FanHold& operator=(const FanHold&) = delete;
    ~FanHold();

    /// Seconds between repairs. Read when `start()` makes the timer.
    double checkInterval = 2.0;

    /// The one observer, called on the main thread within the step that the event belongs to. It must not stop the
    /// hold, whose step goes on afterwards, nor replace itself; it may drop the last reference to the hold. What it
    /// throws is dropped: an event that cannot be logged changes nothing. Events without an observer are dropped.
    std::function<void(const Event&)> onEvent;

    /// Called at the beginning of each tick, if set. It may stop the hold.
    std::function<void()> onTick;

    /// Takes the fans, or yields at once if they may not be held now: `isAsleep` is whether the system sleeps. To be
    /// called once. Blocks while the controller takes its time to grant manual mode. Throws the controller's
    /// `FanError`; fans that were taken before it stay taken until `stop()`.
    void start(bool isAsleep = false);

    /// The system is about to sleep: the fans are back when this returns.
    void systemWillSleep();

    /// The system has powered on again.
    void systemDidWake();

    /// Ends the hold and gives the fans back. Like everything after `start()`, it allocates nothing. Does nothing when
    /// `start()` was not called, or after a `stop()`.
    void stop();

    /// The fans run faster than asked because the chip is hot.
    bool isAddingAir() const { return isAddingAir_; }

    /// The hold stands aside, and not because of sleep.
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
    bool isAnnouncing_ = false;        ///< The observer is being called: for an assertion.
    double floor_ = 0;                 ///< The eased fraction of the previous evaluation.
    std::vector<double> chipReadings_; ///< Degrees Celsius, oldest first.
    std::vector<Fan> fans_;            ///< The last reading; a member so that its storage is kept.
};

} // namespace kelo
