#pragma once

#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <thread>

#include "helper/Listener.h"
#include "platform/linux/loop/EventLoop.h"
#include "platform/linux/loop/InotifyFileEvents.h"
#include "platform/linux/socket/server/RefusalLog.h"
#include "platform/posix/FileDescriptor.h"

namespace kelo {

class AdmittedPeer;
class SocketIncomingConnection;

/// Checks a connected peer against a requirement text. Returns why it is cut off, or none when it is accepted. Called
/// on the listener's thread.
using PeerCheck = std::function<std::optional<std::string>(int socket, const std::string& requirement)>;

/// How many connections there may be. However many connect, there is room for others: other processes of the same user,
/// other users, and our own user above all.
struct ConnectionLimits {
    std::ptrdiff_t total = 256;
    std::ptrdiff_t ofProcess = 32;
    std::ptrdiff_t ofUser = 128;
    std::ptrdiff_t ofOthers = 192; ///< Of all users who are not ours.
};

/// The service's endpoint on a Unix socket, served on a thread of its own: requests that need no state are answered
/// while the main thread is busy.
class SocketListener : public Listener {
public:
    /// Nothing is opened before `resume`. `folder` is borrowed, an open descriptor. `onRefusal` is called with the
    /// reason why a peer was cut off, on the listener's thread, at a limited rate.
    SocketListener(int folder, std::string name, PeerCheck checkPeer,
                   std::function<void(const std::string& reason)> onRefusal, const ConnectionLimits& limits = {});
    /// Ends all connections and the thread.
    ~SocketListener() override;

    void setAdmission(ConnectionAdmission admission) override { admission_ = std::move(admission); }
    void setConnectionCodeSigningRequirement(const std::string& requirement) override { requirement_ = requirement; }
    /// Accepts no peer when no requirement or no admission was set. When the socket cannot be made, `onRefusal` gets
    /// the reason, and it is retried every second. A socket that is deleted later is made anew.
    [[nodiscard]] bool resume() override;

    /// Sends what is to be sent and ends the thread; nothing is served afterwards. May be called more than once.
    void stop();

    /// As `stop`, but waits no longer than that. Returns whether the thread has ended; if not, it is stuck in the check
    /// of a peer, and `stop` would wait for it.
    bool stopsWithin(std::chrono::milliseconds timeout);

private:
    bool openEndpoint();
    void socketChanged();
    void startAccepting();
    void acceptNext();
    void consider(FileDescriptor socket);
    std::optional<std::string> reasonToRefuse(int socket, const std::optional<AdmittedPeer>& peer) const;
    bool hasRoomFor(const AdmittedPeer& peer) const;

    int folder_;
    std::string name_;
    PeerCheck checkPeer_;
    const ConnectionLimits limits_;
    ConnectionAdmission admission_;
    std::optional<std::string> requirement_;
    std::shared_ptr<EventLoop> loop_;
    RefusalLog refusals_;
    InotifyFileEvents files_;
    FileDescriptor listening_;
    std::unique_ptr<DescriptorWatch> accepting_;
    std::unique_ptr<FileEventSource> watching_;                       ///< The socket's name.
    std::set<std::shared_ptr<SocketIncomingConnection>> connections_; ///< The loop's thread only.
    std::thread thread_;
    std::promise<void> threadEnd_;
    std::future<void> threadEnded_ = threadEnd_.get_future();
};

} // namespace kelo
