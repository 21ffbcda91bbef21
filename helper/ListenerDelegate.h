#pragma once

#include <memory>

#include "core/queue/MainQueue.h"
#include "helper/Leave.h"
#include "helper/Listener.h"

namespace kelo {

class BinaryWatch;
class HelperService;

/// Accepts the connections of peers whose signature the listener has accepted. Exports the service to each connection,
/// and reports the arrival and departure of its client. Once the helper's executable has been replaced, refuses
/// connections and makes the helper leave, so that the new helper can serve the clients.
///
/// Called on the listener's thread. Reads only constant state; posts all other work to the main queue.
class ListenerDelegate {
public:
    /// `binary` is null if the helper's executable could not be found. In this case, connections are never refused.
    /// `queue` is borrowed.
    ListenerDelegate(std::shared_ptr<HelperService> service, std::shared_ptr<const BinaryWatch> binary,
                     MainQueue& queue, Leave leave);

    /// Returns whether it has accepted and resumed the connection. Does nothing with a refused connection.
    bool shouldAcceptNewConnection(IncomingConnection& connection);

private:
    const std::shared_ptr<HelperService> service_;
    const std::shared_ptr<const BinaryWatch> binary_;
    MainQueue& queue_;
    MainQueue::Tasks leaving_; ///< The task that makes way for a newer helper; empty after it has been posted.
};

} // namespace kelo
