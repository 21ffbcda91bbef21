#pragma once

#include <functional>
#include <memory>
#include <string>

namespace kelo {

class KeloHelperProtocol;

/// A client's connection that has not been accepted yet. Configure it before resuming it. It is valid only during the
/// call that receives it.
class IncomingConnection {
public:
    IncomingConnection() = default;
    IncomingConnection(const IncomingConnection&) = delete;
    IncomingConnection& operator=(const IncomingConnection&) = delete;
    virtual ~IncomingConnection() = default;

    /// Sets the object that serves the client's requests.
    virtual void exportObject(std::shared_ptr<KeloHelperProtocol> object) = 0;

    /// Sets the handler for the end of the connection. It is called once, after all other calls, from any thread.
    virtual void setInvalidationHandler(std::function<void()> handler) = 0;

    /// Sets the handler for an interruption. It is called from any thread; an invalidation may follow.
    virtual void setInterruptionHandler(std::function<void()> handler) = 0;

    /// Starts receiving the client's requests. Call it last.
    virtual void resume() = 0;
};

/// Decides whether to accept a connection whose peer satisfies the listener's requirement. Called on the listener's own
/// thread. Returns true if it has resumed the connection. If it returns false, the listener drops the connection.
using ConnectionAdmission = std::function<bool(IncomingConnection& connection)>;

/// The endpoint of the service. Call its functions on the main thread in this order: set the admission, set the
/// requirement, resume. The listener exists until the process ends.
class Listener {
public:
    Listener() = default;
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;
    virtual ~Listener() = default;

    virtual void setAdmission(ConnectionAdmission admission) = 0;

    /// From now on, disconnects every peer whose code signature does not satisfy `requirement`, before calling the
    /// admission. If the requirement does not parse, disconnects every peer.
    virtual void setConnectionCodeSigningRequirement(const std::string& requirement) = 0;

    /// Starts accepting connections. Returns whether it is listening.
    [[nodiscard]] virtual bool resume() = 0;
};

} // namespace kelo
