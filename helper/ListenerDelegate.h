#pragma once

#include <memory>

#include "core/queue/MainQueue.h"
#include "helper/Leave.h"
#include "helper/Listener.h"

namespace kelo {

class BinaryWatch;
class HelperService;

/// Takes the connections of peers whose signature the listener has accepted: binds each to the one service and reports
/// its arrival and its departure. Turns connections away once the helper's executable has been replaced, and then makes
/// the helper leave, so that the newer one can serve them.
///
/// Called on the listener's thread. Reads only what never changes; everything else hops to the main queue.
class ListenerDelegate {
public:
    /// `binary` is null when the helper's executable could not be found; then no connection is ever stale. `queue` is
    /// borrowed.
    ListenerDelegate(std::shared_ptr<HelperService> service, std::shared_ptr<const BinaryWatch> binary,
                     MainQueue& queue, Leave leave);

    /// Whether the connection was accepted and resumed; one that is refused is left untouched. The listener's thread.
    bool shouldAcceptNewConnection(IncomingConnection& connection);

private:
    const std::shared_ptr<HelperService> service_;
    const std::shared_ptr<const BinaryWatch> binary_;
    MainQueue& queue_;
    MainQueue::Tasks leaving_; ///< Posted to leave for a newer helper; empty once it has been.
};

} // namespace kelo
