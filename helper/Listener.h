#pragma once

#include <functional>
#include <memory>
#include <string>

namespace kelo {

class KeloHelperProtocol;

/// A client's connection that has not been accepted yet. To be configured before it is resumed; used only within the
/// call that presents it.
class IncomingConnection {
public:
    IncomingConnection() = default;
    IncomingConnection(const IncomingConnection&) = delete;
    IncomingConnection& operator=(const IncomingConnection&) = delete;
    virtual ~IncomingConnection() = default;

    /// The object whose five requests the client may make.
    virtual void exportObject(std::shared_ptr<KeloHelperProtocol> object) = 0;

    /// Called once, last, when the connection has ended. From any thread.
    virtual void setInvalidationHandler(std::function<void()> handler) = 0;

    /// Called when the connection was interrupted; the invalidation may follow. From any thread.
    virtual void setInterruptionHandler(std::function<void()> handler) = 0;

    /// Starts to receive the client's requests. To be called last.
    virtual void resume() = 0;
};

/// Decides about each connection whose peer satisfies the listener's requirement. Called on the listener's own thread.
/// True accepts: the connection was resumed. False drops it.
using ConnectionAdmission = std::function<bool(IncomingConnection& connection)>;

/// The service's endpoint. Set up on the main thread: admission, requirement, then `resume`. Lives as long as the
/// process.
class Listener {
public:
    Listener() = default;
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;
    virtual ~Listener() = default;

    virtual void setAdmission(ConnectionAdmission admission) = 0;

    /// Cuts off every peer whose code signature does not satisfy `requirement`, before the admission is asked. With a
    /// requirement that does not parse, every peer is cut off.
    virtual void setConnectionCodeSigningRequirement(const std::string& requirement) = 0;

    /// Starts to accept connections. Returns whether it listens.
    [[nodiscard]] virtual bool resume() = 0;
};

} // namespace kelo
