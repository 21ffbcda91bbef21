#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>

namespace kelo {

class MainQueue;
class Timer;

/// The root power domain of a simulated Mac: announces sleep and wake to registered clients and, as on a real Mac,
/// waits until each of them has acknowledged the announcement of sleep.
class RootPowerDomain {
public:
    enum class Announcement {
        canSystemSleep, ///< Asks whether the system may sleep.
        systemWillSleep,
        systemWillPowerOn,
        systemHasPoweredOn,
    };
    /// Timeout in seconds for each acknowledgement.
    static constexpr double acknowledgementTimeout = 30.0;

    using Send = std::function<void(Announcement announcement, std::int64_t notificationID)>;

    struct SleepReport {
        double seconds;   ///< From `systemWillSleep` to the last acknowledgement.
        int acknowledged; ///< The number of clients that acknowledged sleep in time.
        int missing;      ///< The number of clients that did not.
    };

    /// `queue` is borrowed. `now` returns seconds.
    RootPowerDomain(MainQueue& queue, std::function<double()> now);
    ~RootPowerDomain();

    /// Registers a client; returns its number.
    int addClient(Send send);
    /// Removes a client and stops waiting for its acknowledgement.
    void removeClient(int client);
    std::size_t clientCount() const { return clients_.size(); }

    void acknowledge(int client, std::int64_t notificationID);

    enum class Cause {
        idleness, ///< Clients are asked first whether the system may sleep.
        demand,   ///< Sleep is only announced, as when the lid is closed or the user chooses it.
    };

    /// Announces that the system will sleep; calls `onAsleep` when the last acknowledgement has arrived or timed out.
    /// Does nothing and returns false if the system is asleep or already going to sleep.
    bool sleep(Cause cause, std::function<void(const SleepReport&)> onAsleep);

    /// Announces that the system will power on, and then that it has powered on. Returns false if the system is not
    /// asleep.
    bool wake();

    bool isAsleep() const { return state_ == State::asleep; }

private:
    enum class State { awake, asking, announcing, asleep };

    void startRound(Announcement announcement);
    void announce(Announcement announcement);
    void endRoundIfComplete();
    void endRound();

    MainQueue& queue_;
    std::function<double()> now_;
    std::map<int, Send> clients_;
    int nextClient_ = 1;
    std::int64_t notificationID_ = 0;
    State state_ = State::awake;
    std::set<int> awaited_; ///< Clients that have not acknowledged this announcement yet.
    int acknowledged_ = 0;
    double roundStart_ = 0;
    std::unique_ptr<Timer> timeout_;
    std::function<void(const SleepReport&)> onAsleep_;
};

} // namespace kelo
