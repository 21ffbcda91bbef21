#include "helper/ListenerDelegate.h"

#include <utility>

#include "core/queue/MainQueue.h"
#include "core/watch/BinaryWatch.h"
#include "helper/HelperService.h"

namespace kelo {

ListenerDelegate::ListenerDelegate(std::shared_ptr<HelperService> service, std::shared_ptr<const BinaryWatch> binary,
                                   MainQueue& queue, Leave leave)
    : service_(std::move(service)), binary_(std::move(binary)), queue_(queue), leave_(std::move(leave)) {}

bool ListenerDelegate::shouldAcceptNewConnection(IncomingConnection& connection) {
    if (binary_ && !binary_->isCurrent()) {
        queue_.post([leave = leave_] {
            leave("Our binary was replaced on disk. Handing the fan back and leaving for the new helper.");
        });
        return false;
    }
    // Handlers before the count, so that no departure is missed; the count before the first request can run.
    const auto reportDeparture = [service = service_] { service->clientWentAway(); };
    connection.exportObject(service_);
    connection.setInvalidationHandler(reportDeparture);
    connection.setInterruptionHandler(reportDeparture);
    service_->clientArrived();
    connection.resume();
    return true;
}

} // namespace kelo
