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

/// Checks a connected peer against a requirement text. Returns the reason to cut the peer off, or nullopt to accept it.
/// May be slow, since it runs on a separate thread.
using PeerCheck = std::function<std::optional<std::string>(int socket, const std::string& requirement)>;

/// Limits on open connections. They always leave room for other processes of the same user, for other users and, above
/// all, for the helper's own user.
struct ConnectionLimits {
    std::ptrdiff_t total = 256;
    std::ptrdiff_t ofProcess = 32;
    std::ptrdiff_t ofUser = 128;
    std::ptrdiff_t ofOthers = 192; ///< The limit for all other users combined.
};

/// The listener's callbacks, which it calls on its thread or the main thread.
struct ListenerReports {
    /// Reports the reason why a peer was cut off. Called at a limited rate.
    std::function<void(const std::string& reason)> onRefusal;
    /// Reports the reason why no client can currently be served. Called once per outage; the listener retries every
    /// second.
    std::function<void(const std::string& reason)> onTrouble = [](const std::string&) {};
    /// Called when clients can be served again.
    std::function<void()> onRecovery = [] {};
};

/// The service's endpoint on a Unix socket. Runs on a separate thread, so that requests that need no state are answered
/// while the main thread is busy. A second thread, started for the first peer, checks one new peer at a time, so that a
/// slow check delays only other new peers.
class SocketListener : public Listener {
public:
    /// Does not open anything until `resume` is called. Borrows `main` and `folder`, an open descriptor. If a thread
    /// cannot be created, retries on `main`.
    SocketListener(MainQueue& main, int folder, std::string name, PeerCheck checkPeer, ListenerReports reports,
                   const ConnectionLimits& limits = {});
    /// Ends all connections and the threads.
    ~SocketListener() override;

    void setAdmission(ConnectionAdmission admission) override { admission_ = std::move(admission); }
    void setConnectionCodeSigningRequirement(const std::string& requirement) override { requirement_ = requirement; }
    /// Accepts peers only if a requirement and an admission are set. If the socket or thread cannot be created, reports
    /// the failure and retries every second. Recreates a socket that is deleted later.
    [[nodiscard]] bool resume() override;

    /// Sends the replies posted so far, then ends the threads and connections. May be called more than once.
    void stop();

    /// Like `stop`, but waits for at most `timeout`. Returns whether the threads have ended. If not, one of them is
    /// stuck in the check of a peer, and `stop` would wait for it.
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
    std::unique_ptr<Timer> nextTry_; ///< Retries starting the thread; on the main queue.
    const std::unique_ptr<Worker> serving_;
    std::unique_ptr<Worker> checking_; ///< Null until a peer connects. Loop thread only, until that thread has ended.
    const std::shared_ptr<EventLoop>& loop_; ///< The loop of `serving_`.
    RefusalLog refusals_;
    InotifyFileEvents files_;
    FileDescriptor listening_;
    std::unique_ptr<DescriptorWatch> accepting_;
    std::unique_ptr<FileEventSource> watching_;                       ///< Watches the socket's name.
    std::set<std::shared_ptr<SocketIncomingConnection>> connections_; ///< Loop thread only.
};

} // namespace kelo
