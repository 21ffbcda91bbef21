#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>

namespace kelo {

class MainQueue;
class Timer;

/// The root power domain of a simulated Mac: announces sleep and wake to registered clients, and waits for each
/// acknowledgement of sleep as a real one does.
class RootPowerDomain {
public:
    enum class Announcement {
        canSystemSleep, ///< Asks whether it may.
        systemWillSleep,
        systemWillPowerOn,
        systemHasPoweredOn,
    };
    /// Timeout in seconds for each acknowledgement.
    static constexpr double acknowledgementTimeout = 30.0;

    using Send = std::function<void(Announcement announcement, std::int64_t notificationID)>;

    struct SleepReport {
        double seconds;   ///< From the announcement that it will sleep to the last acknowledgement.
        int acknowledged; ///< Clients that acknowledged it.
        int missing;      ///< Clients that did not in time.
    };

    /// `queue` is borrowed. `now` returns seconds.
    RootPowerDomain(MainQueue& queue, std::function<double()> now);
    ~RootPowerDomain();

    /// Registers a client; returns its number.
    int addClient(Send send);
    /// A client that goes away is not waited for.
    void removeClient(int client);
    std::size_t clientCount() const { return clients_.size(); }

    void acknowledge(int client, std::int64_t notificationID);

    enum class Cause {
        idleness, ///< Everybody is asked first whether the system may sleep.
        demand,   ///< As by the lid or the menu: it is only announced.
    };

    /// Announces that the system will sleep; `onAsleep` is called when the last acknowledgement has come or timed out.
    /// Does nothing, and returns false, while asleep or about to be.
    bool sleep(Cause cause, std::function<void(const SleepReport&)> onAsleep);

    /// Announces that the system will power on, and has. Returns false while awake.
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
    std::set<int> awaited_; ///< Clients whose acknowledgement of this round is missing.
    int acknowledged_ = 0;
    double roundStart_ = 0;
    std::unique_ptr<Timer> timeout_;
    std::function<void(const SleepReport&)> onAsleep_;
};

} // namespace kelo
