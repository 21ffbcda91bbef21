#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "helper/Listener.h"
#include "platform/linux/loop/EventLoop.h"
#include "platform/linux/loop/InotifyFileEvents.h"
#include "platform/linux/socket/server/RefusalLog.h"
#include "platform/posix/FileDescriptor.h"

namespace kelo {

class AdmittedPeer;
class SocketIncomingConnection;

/// Checks a connected peer against a requirement text. Returns why it is cut off, or none when it is accepted. Called
/// on a thread where it may take its time.
using PeerCheck = std::function<std::optional<std::string>(int socket, const std::string& requirement)>;

/// How many connections there may be. However many connect, there is room for others: other processes of the same user,
/// other users, and our own user above all.
struct ConnectionLimits {
    std::ptrdiff_t total = 256;
    std::ptrdiff_t ofProcess = 32;
    std::ptrdiff_t ofUser = 128;
    std::ptrdiff_t ofOthers = 192; ///< Of all users who are not ours.
};

/// Whom the listener tells what, on its thread or the main one.
struct ListenerReports {
    /// Why a peer was cut off, at a limited rate.
    std::function<void(const std::string& reason)> onRefusal;
    /// Why nobody can be served for now. Called once; then tried again every second.
    std::function<void(const std::string& reason)> onTrouble = [](const std::string&) {};
    /// Clients can be served after trouble.
    std::function<void()> onRecovery = [] {};
};

/// The service's endpoint on a Unix socket, served on a separate thread: requests that need no state are answered
/// while the main thread is busy. A second thread, started for the first peer, checks one new peer at a time, so that a
/// check that takes long delays only other new peers.
class SocketListener : public Listener {
public:
    /// Nothing is opened before `resume`. `main` and `folder`, an open descriptor, are borrowed. On `main` the thread
    /// is started again if the system refuses it.
    SocketListener(MainQueue& main, int folder, std::string name, PeerCheck checkPeer, ListenerReports reports,
                   const ConnectionLimits& limits = {});
    /// Ends all connections and the thread.
    ~SocketListener() override;

    void setAdmission(ConnectionAdmission admission) override { admission_ = std::move(admission); }
    void setConnectionCodeSigningRequirement(const std::string& requirement) override { requirement_ = requirement; }
    /// Accepts no peer when no requirement or no admission was set. A socket or thread that cannot be made is reported
    /// and tried again every second. A socket that is deleted later is made again.
    [[nodiscard]] bool resume() override;

    /// Sends what is to be sent and ends the threads; nothing is served afterwards. May be called more than once.
    void stop();

    /// As `stop`, but waits no longer than that. Returns whether the threads have ended; if not, one is stuck in the
    /// check of a peer, and `stop` would wait for it.
    bool stopsWithin(std::chrono::milliseconds timeout);

private:
    struct Worker;
    struct Candidate;

    bool startServing();
    void reportTrouble(const std::string& reason);
    bool openEndpoint();
    void socketChanged();
    void startAccepting();
    void acceptNext();
    void consider(FileDescriptor socket);
    std::optional<std::string> reasonToRefuse(const std::optional<AdmittedPeer>& peer) const;
    void judge(const std::shared_ptr<Candidate>& candidate);
    void admit(Candidate& candidate);
    bool hasRoomFor(const AdmittedPeer& peer) const;

    MainQueue& main_;
    int folder_;
    std::string name_;
    PeerCheck checkPeer_;
    const ConnectionLimits limits_;
    ConnectionAdmission admission_;
    std::optional<std::string> requirement_;
    ListenerReports reports_;
    bool isInTrouble_ = false;
    std::unique_ptr<Timer> nextTry_; ///< Of the thread; on the main queue.
    const std::unique_ptr<Worker> serving_;
    std::unique_ptr<Worker> judging_; ///< Null until the first peer; the loop's thread only, until that has ended.
    const std::shared_ptr<EventLoop>& loop_; ///< `serving_`'s.
    RefusalLog refusals_;
    InotifyFileEvents files_;
    FileDescriptor listening_;
    std::unique_ptr<DescriptorWatch> accepting_;
    std::unique_ptr<FileEventSource> watching_;                       ///< The socket's name.
    std::set<std::shared_ptr<SocketIncomingConnection>> connections_; ///< The loop's thread only.
};

} // namespace kelo
