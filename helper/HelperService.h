#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>

#include "core/hold/MachineParts.h"
#include "core/hold/PowerWatch.h"
#include "core/queue/MainQueue.h"
#include "helper/HelperLog.h"
#include "helper/Leave.h"
#include "protocol/KeloHelperProtocol.h"

namespace kelo {

class FanController;
class FanHold;

/// What the service needs of the process around it. Borrowed.
struct ServiceDependencies {
    MachineParts machine;
    HelperLog log; ///< Of category "service".
    Leave leave;
    std::function<void()> onTick; ///< Called every few seconds while a hold runs. May leave.
};

/// The one object that every connection exports: serves the five requests, counts the clients, and makes sure that the
/// fan is handed back when no client wants it any more.
///
/// To be made with `std::make_shared`. The requests, `clientArrived` and `clientWentAway` may be called from any
/// thread; they hop to the main queue, where all state lives. A request that is still queued when the service is
/// destroyed is only answered.
class HelperService : public KeloHelperProtocol, public std::enable_shared_from_this<HelperService> {
public:
    /// Opens the fan controller and registers for sleep and wake. Without a controller it says so in the log and
    /// refuses every request.
    explicit HelperService(ServiceDependencies dependencies);
    /// Hands nothing back: call `shutdownNow()` first.
    ~HelperService() override;

    void perform(requests::AnyCall call) override;

    void fetchSnapshot(requests::ReplyTo<requests::FetchSnapshot> reply);
    /// A hold that cannot start leaves none in force: fans that were taken before it failed are handed back at once,
    /// since nobody would watch them.
    void hold(double fraction, bool handsBackOnLidClose, requests::ReplyTo<requests::Hold> reply);
    void handBack(requests::ReplyTo<requests::HandBack> reply);
    void helperVersion(const requests::ReplyTo<requests::HelperVersion>& reply);
    void standDown(const requests::ReplyTo<requests::StandDown>& reply);

    /// To be called once for each accepted connection, before its requests can arrive. A client that arrives within the
    /// grace period keeps the hold going.
    void clientArrived();

    /// To be called when an accepted connection has ended. The last client's departure hands the fan back after
    /// `KeloHelper::orphanGracePeriod`, if a hold runs. The count never falls below zero.
    void clientWentAway();

    /// The task that `clientWentAway` posts, for a caller that makes it before it is needed.
    std::function<void()> departure();

    /// Ends any hold and hands the fan back, now: what every way out of the process calls last. Main thread only.
    void shutdownNow() noexcept;

private:
    Data makeSnapshot() const;
    std::optional<std::string> startHold(double fraction, bool handsBackOnLidClose);
    void replaceHold(double fraction, bool handsBackOnLidClose);
    void stopHold() noexcept;
    void systemWillSleep();
    void systemDidWake();
    void handFansBack() noexcept;
    void countDeparture() noexcept;
    void orphanTimerFired() noexcept;

    ServiceDependencies dependencies_;
    std::shared_ptr<FanController> controller_; ///< Null when there is none to control; never replaced.
    std::shared_ptr<FanHold> session_;          ///< The hold in force.
    bool isSystemAsleep_ = false;               ///< Sleep was announced, and no wake since.
    std::int64_t clients_ = 0;
    MainQueue::Tasks leaving_;           ///< Leaves at once: for a stand-down whose delay cannot be timed.
    std::atomic_flag isLeaving_;         ///< `leaving_` has been posted.
    std::unique_ptr<Timer> orphanTimer_; ///< Pending or fired; cleared by the next arrival.
    PowerWatch
        power_; ///< For the life of the process: a hold must not start without knowing whether the system sleeps.
};

} // namespace kelo
