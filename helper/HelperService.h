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

/// The parts of the process that the service uses. They are borrowed.
struct ServiceDependencies {
    MachineParts machine;
    HelperLog log; ///< Has the category "service".
    Leave leave;
    std::function<void()> onTick; ///< Called on each tick of a hold. May call `leave`.
};

/// The object that every connection exports. Serves the five requests, counts the clients, and hands the fan back when
/// no client needs it any longer.
///
/// Create it with `std::make_shared`. The requests, `clientArrived` and `clientWentAway` may be called from any thread;
/// they post to the main queue, which owns all state. A request that is still queued when the service is destroyed is
/// answered but not performed.
class HelperService : public KeloHelperProtocol, public std::enable_shared_from_this<HelperService> {
public:
    /// Opens the fan controller and registers for sleep and wake. If the controller cannot be opened, logs an error and
    /// refuses every request.
    explicit HelperService(ServiceDependencies dependencies);
    /// Does not hand the fans back: call `shutdownNow()` before destroying the service.
    ~HelperService() override;

    void perform(requests::AnyCall call) override;

    void fetchSnapshot(requests::ReplyTo<requests::FetchSnapshot> reply);
    /// If the hold cannot start, hands back the fans taken before the failure; no hold is then running.
    void hold(double fraction, bool handsBackOnLidClose, requests::ReplyTo<requests::Hold> reply);
    void handBack(requests::ReplyTo<requests::HandBack> reply);
    void helperVersion(const requests::ReplyTo<requests::HelperVersion>& reply);
    void standDown(const requests::ReplyTo<requests::StandDown>& reply);

    /// Counts a client. Call it once for each accepted connection, before its first request. A client that arrives
    /// within the grace period keeps the hold running.
    void clientArrived();

    /// Call it when an accepted connection has ended. If a hold is running, hands the fan back
    /// `KeloHelper::orphanGracePeriod` seconds after the last client has left. The count never falls below zero.
    void clientWentAway();

    /// Returns the task that `clientWentAway` posts, for callers that must allocate it in advance.
    std::function<void()> departure();

    /// Ends any hold and hands the fan back immediately. This is the last step before every exit. Main thread only.
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
    std::shared_ptr<FanController> controller_; ///< Null if there is no controllable fan; never replaced.
    std::shared_ptr<FanHold> session_;          ///< The current hold.
    bool isSystemAsleep_ = false;               ///< The system has announced sleep and has not woken since.
    std::int64_t clients_ = 0;
    MainQueue::Tasks leaving_;   ///< The task that calls `leave` at once, for a stand-down that cannot be delayed.
    std::atomic_flag isLeaving_; ///< `leaving_` has been posted.
    std::unique_ptr<Timer> orphanTimer_; ///< Pending or already fired; reset by the next arrival.
    /// Kept for the whole life of the service, because a hold must not start unless the service knows whether the
    /// system is asleep.
    PowerWatch power_;
};

} // namespace kelo
