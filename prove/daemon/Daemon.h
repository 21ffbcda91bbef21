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

/// A clock whose waits take a little longer than asked, as everywhere: no deadline is met to the last digit.
class OversleepingClock : public VirtualClock {
public:
    using VirtualClock::VirtualClock;
    void sleep(double seconds) override {
        const CodeOf test(CodeOf::Owner::test);
        VirtualClock::sleep(seconds + 0.001);
    }
};

/// The whole daemon in this process, on virtual time, with a simulated controller and everything else scripted.
///
/// Its surroundings are made with it; the daemon lives from `start` until it exits or this is destroyed, whichever is
/// first. One helper at a time in a process, since the key client's connection is the process's.
class Daemon {
public:
    /// Makes and starts a daemon on a platform; returns what keeps it alive. May throw `std::bad_alloc`.
    using Start = std::function<std::shared_ptr<void>(const Platform&)>;

    static std::shared_ptr<void> startHelper(const Platform& platform);

    explicit Daemon(Start start = startHelper);
    Daemon(const Daemon&) = delete;
    Daemon& operator=(const Daemon&) = delete;
    ~Daemon();

    void start();
    /// Lets time pass, in which the daemon does what falls due.
    void pass(double seconds) { queue.runFor(seconds); }

    // Clients. Numbers count from 0 and are not used again.
    /// A client that is turned away gets no number.
    void connect();
    void interrupt(int client);
    /// Ends the connection.
    void invalidate(int client);
    bool isConnected(int client) const { return clients_.at(static_cast<std::size_t>(client)).guard != nullptr; }
    std::vector<int> connectedClients() const;

    // Requests of a client. They are carried out as time passes.
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
    /// A message of the root power domain. Does nothing when nobody is registered.
    void announce(PowerMessage message);
    /// One that comes while the main thread is busy: it is delivered as soon as that is free.
    void announceToBusy(PowerMessage message);

    /// Does it as soon as the main thread is blocked: something that other threads do.
    void onBlocked(const std::function<void()>& happen) { clock.meanwhile.push_back(happen); }

    bool hasExited() const { return exitStatus.has_value(); }
    /// Requests that have not been replied to exactly once.
    int wronglyAnswered() const;
    /// What the guard had to put right, as reported on this platform.
    int reportedFaults() const { return reportedFaults_; }
    /// Announcements that were not acknowledged exactly once.
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
        std::unique_ptr<GuardedHelper> guard; ///< Null once the connection has ended.
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
    std::vector<int> acknowledgements_; ///< By notification ID.
    int reportedFaults_ = 0;

public:
    RecordingQueue queue{now}; ///< Behind what its tasks refer to.
    ScriptedPlatform platform{{queue, exchange, clock, rights, power, clamshell}};

private:
    std::vector<Client> clients_; ///< They keep the service alive, which has timers in the queue.
    const Start start_;
    std::shared_ptr<void> process_;
};

} // namespace kelo
