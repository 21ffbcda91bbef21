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

/// Checks a connected peer against a requirement text. Returns why it is cut off, or nullopt if it is accepted. May
/// take its time, since it runs on a separate thread.
using PeerCheck = std::function<std::optional<std::string>(int socket, const std::string& requirement)>;

/// Limits on open connections. They always leave room for other processes of the same user, for other users and, above
/// all, for our own user.
struct ConnectionLimits {
    std::ptrdiff_t total = 256;
    std::ptrdiff_t ofProcess = 32;
    std::ptrdiff_t ofUser = 128;
    std::ptrdiff_t ofOthers = 192; ///< All other users together.
};

/// What the listener reports, on its thread or the main thread.
struct ListenerReports {
    /// Why a peer was cut off, at a limited rate.
    std::function<void(const std::string& reason)> onRefusal;
    /// Why no client can be served for now. Called once; the listener retries every second.
    std::function<void(const std::string& reason)> onTrouble = [](const std::string&) {};
    /// Clients can be served again.
    std::function<void()> onRecovery = [] {};
};

/// The service's endpoint on a Unix socket. Runs on a separate thread, so that requests that need no state are answered
/// while the main thread is busy. A second thread, started for the first peer, checks one new peer at a time, so that a
/// slow check delays only other new peers.
class SocketListener : public Listener {
public:
    /// Opens nothing before `resume`. `main` and `folder`, an open descriptor, are borrowed. `main` retries if the
    /// system refuses a thread.
    SocketListener(MainQueue& main, int folder, std::string name, PeerCheck checkPeer, ListenerReports reports,
                   const ConnectionLimits& limits = {});
    /// Ends all connections and the thread.
    ~SocketListener() override;

    void setAdmission(ConnectionAdmission admission) override { admission_ = std::move(admission); }
    void setConnectionCodeSigningRequirement(const std::string& requirement) override { requirement_ = requirement; }
    /// Accepts no peer unless a requirement and an admission are set. Reports a socket or thread that cannot be
    /// created, and retries every second. Recreates a socket that is deleted later.
    [[nodiscard]] bool resume() override;

    /// Sends the replies posted so far, then ends the threads and connections. May be called more than once.
    void stop();

    /// Like `stop`, but waits for at most `timeout`. Returns whether the threads have ended; if not, one is stuck in
    /// the check of a peer, and `stop` would wait for it.
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
    void check(const std::shared_ptr<Candidate>& candidate);
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
    std::unique_ptr<Timer> nextTry_; ///< Retries to start the thread; on the main queue.
    const std::unique_ptr<Worker> serving_;
    std::unique_ptr<Worker> checking_; ///< Null until the first peer. Loop thread only, until that thread has ended.
    const std::shared_ptr<EventLoop>& loop_; ///< `serving_`'s.
    RefusalLog refusals_;
    InotifyFileEvents files_;
    FileDescriptor listening_;
    std::unique_ptr<DescriptorWatch> accepting_;
    std::unique_ptr<FileEventSource> watching_;                       ///< The socket's name.
    std::set<std::shared_ptr<SocketIncomingConnection>> connections_; ///< Loop thread only.
};

} // namespace kelo
