#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/posix/GuardedHelper.h"
#include "prove/daemon/FaultyExchange.h"
#include "prove/daemon/RecordingQueue.h"
#include "prove/daemon/Tape.h"
#include "testing/CodeOf.h"
#include "testing/ScriptedClamshell.h"
#include "testing/ScriptedPlatform.h"
#include "testing/ScriptedPower.h"
#include "testing/ScriptedRights.h"
#include "testing/VirtualClock.h"

namespace kelo {

/// A clock whose waits take slightly longer than requested, like real waits, so that no deadline is met exactly.
class OversleepingClock : public VirtualClock {
public:
    using VirtualClock::VirtualClock;
    void sleep(double seconds) override {
        const CodeOf test(CodeOf::Owner::test);
        VirtualClock::sleep(seconds + 0.001);
    }
};

/// The whole daemon in this process and in virtual time, on a simulated controller and an otherwise scripted platform.
///
/// The daemon runs from `start` until it exits or this object is destroyed. Only one helper can run in a process at a
/// time, since all users of the key client in a process share one connection.
class Daemon {
public:
    /// Creates and starts a daemon on a platform. The returned pointer owns it. May throw `std::bad_alloc`.
    using Start = std::function<std::shared_ptr<void>(const Platform&)>;

    static std::shared_ptr<void> startHelper(const Platform& platform);

    explicit Daemon(Start start = startHelper);
    Daemon(const Daemon&) = delete;
    Daemon& operator=(const Daemon&) = delete;
    ~Daemon();

    void start();
    /// Advances the time and runs the daemon's due work.
    void pass(double seconds) { queue.runFor(seconds); }

    // Clients, which are numbered from 0. Numbers are not reused.
    /// A client that is refused gets no number.
    void connect();
    void interrupt(int client);
    /// Ends the connection.
    void invalidate(int client);
    bool isConnected(int client) const { return clients_.at(static_cast<std::size_t>(client)).guard != nullptr; }
    std::vector<int> connectedClients() const;

    // Requests from a client. The daemon handles them when the time advances.
    void snapshot(int client);
    void hold(int client, double fraction, bool handsBackOnLidClose = false);
    void handBack(int client);
    void version(int client);
    void standDown(int client);

    // The machine.
    void setRoot(bool isRoot);
    void setLid(const ClamshellProperty& state) { clamshell.state = state; }
    void setPowerPresent(bool isPresent) { power.isPresent = isPresent; }
    void setTeam(const std::optional<std::string>& team) { platform.signing.team = team; }
    void setExecutable(const std::optional<std::string>& path) { platform.files.executable = path; }
    void setFile(const std::optional<FileIdentity>& file) { platform.files.place(file); }
    void setFileOpenable(bool canOpen) { platform.files.canOpen = canOpen; }
    void fileEvent();
    void signal(int number);
    /// Sends a message of the root power domain. Does nothing if the daemon has not registered with it.
    void announce(PowerMessage message);
    /// Sends a message while the main thread is busy. It is delivered as soon as the thread is free.
    void announceToBusy(PowerMessage message);

    /// Runs `event` the next time the main thread is blocked, as if another thread ran it.
    void onBlocked(const std::function<void()>& event) { clock.meanwhile.push_back(event); }

    bool hasExited() const { return exitStatus.has_value(); }
    /// Number of requests that did not get exactly one reply.
    int wronglyAnswered() const;
    /// Number of faults that the guard corrected and reported.
    int reportedFaults() const { return reportedFaults_; }
    /// Number of announcements that were not acknowledged exactly once.
    int wronglyAcknowledged() const;

    double now = 0; ///< Virtual seconds.
    Tape tape;
    SimulatedController controller{[this] { return now; }};
    FaultyExchange exchange{controller, now, tape};
    OversleepingClock clock{now};
    ScriptedRights rights;
    ScriptedPower power;
    ScriptedClamshell clamshell;
    std::optional<int> exitStatus;
    std::string lastReply;

private:
    friend void reportFault(const char* what, const char* why) noexcept;

    struct Client {
        std::unique_ptr<ScriptedConnection> connection;
        std::unique_ptr<GuardedHelper> guard; ///< nullptr once the connection has ended.
    };

    struct Request {
        std::string name;
        int replies = 0;
    };

    void record(const std::string& event);
    template <typename Asked, typename TextOf>
    void ask(int client, Asked asked, const char* name, TextOf textOf);
    std::size_t addRequest(const char* name);
    void reply(std::size_t request, const std::string& text);
    void exit(const std::string& step);

    std::vector<Request> requests_;
    std::vector<int> acknowledgements_; ///< Number of acknowledgements by notification ID.
    int reportedFaults_ = 0;

public:
    RecordingQueue queue{now}; ///< Declared after the members to which its tasks refer.
    ScriptedPlatform platform{{queue, exchange, clock, rights, power, clamshell}};

private:
    std::vector<Client> clients_; ///< Declared after the queue, because clients keep the service and its timers alive.
    const Start start_;
    std::shared_ptr<void> process_;
};

} // namespace kelo
