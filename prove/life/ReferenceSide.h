#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "core/hold/Clamshell.h"
#include "core/hold/PowerNotifications.h"
#include "core/watch/FileEvents.h"
#include "prove/daemon/FaultyExchange.h"
#include "prove/daemon/Tape.h"
#include "prove/reference/Reference.h"
#include "testing/VirtualQueue.h"

namespace kelo {

/// The model of the daemon in surroundings like those of `Daemon`: driven in the same way, recorded in the same words.
class ReferenceSide {
public:
    ReferenceSide();
    ReferenceSide(const ReferenceSide&) = delete;
    ReferenceSide& operator=(const ReferenceSide&) = delete;
    ~ReferenceSide();

    void start() { model_.start(); }
    void pass(double seconds) { queue_.runFor(seconds); }

    void connect();
    void interrupt(int client);
    void invalidate(int client);

    void snapshot(int client);
    void hold(int client, double fraction, bool handsBackOnLidClose);
    void handBack(int client);
    void version(int client);
    void standDown(int client);

    void setRoot(bool isRoot);
    void setLid(const ClamshellProperty& state) { lid_ = state; }
    void setPowerPresent(bool isPresent) { isPowerPresent_ = isPresent; }
    void setTeam(const std::optional<std::string>& team) { team_ = team; }
    void setExecutable(const std::optional<std::string>& path) { executable_ = path; }
    void setFile(const std::optional<FileIdentity>& file) { file_ = file; }
    void setFileOpenable(bool canOpen) { isFileOpenable_ = canOpen; }
    void fileEvent() { model_.fileEvent(); }
    void signal(int number) { model_.signal(number); }
    void announce(PowerMessage message);
    void announceToBusy(PowerMessage message);

    bool hasExited() const { return model_.hasExited(); }
    bool isConnected(int client) const { return !gone_.contains(client); }
    void onBlocked(const std::function<void()>& happen) { meanwhile_.push_back(happen); }

    double now = 0; ///< Virtual seconds.
    Tape tape;
    SimulatedController controller{[this] { return now; }};
    FaultyExchange exchange{controller, now, tape};

private:
    class World;

    void record(const std::string& event) { tape.add({now, event}); }
    std::size_t addRequest(const char* name);
    void reply(std::size_t request, const std::string& text);

    ClamshellProperty lid_ = false;
    bool isRoot_ = true;
    bool isPowerPresent_ = true;
    bool isFileOpenable_ = true;
    std::optional<std::string> team_ = "ABCDE12345";
    std::optional<std::string> executable_ = "/Library/PrivilegedHelperTools/app.kelo.helper";
    std::optional<FileIdentity> file_ = FileIdentity{1, 100};
    std::optional<FileIdentity> fileAtArrival_; ///< What an arriving client's admission saw.
    bool isAdmitting_ = false;
    std::string admission_;             ///< What became of the arriving client.
    std::vector<std::string> requests_; ///< Their names.
    std::set<int> gone_;                ///< Clients whose connection has ended.
    std::vector<std::function<void()>> meanwhile_;
    std::intptr_t announcements_ = 0;
    std::unique_ptr<World> world_;
    VirtualQueue queue_{now};
    std::map<reference::Timer, std::unique_ptr<Timer>> timers_; ///< Those that wait.
    reference::Daemon model_;
};

} // namespace kelo
