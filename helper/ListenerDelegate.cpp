#include "helper/ListenerDelegate.h"

#include <utility>

#include "core/watch/BinaryWatch.h"
#include "helper/HelperService.h"

namespace kelo {

namespace {

/// Reports a client's departure, and reports it twice if the connection is first interrupted and then invalidated. The
/// tasks are allocated when the client arrives. If a departure were lost because memory ran out, the client's hold
/// would stay in place.
class Departures {
public:
    Departures(std::shared_ptr<HelperService> service, MainQueue& queue)
        : service_(std::move(service)), queue_(queue), prepared_{service_->departure(), service_->departure()} {}

    /// Enables the reports. Call it after the client has been counted: the departure of an uncounted client must not be
    /// reported.
    void begin() { hasBegun_ = true; }

    void report() {
        if (!hasBegun_)
            return;
        if (prepared_.empty())
            return service_->clientWentAway();
        MainQueue::Tasks next;
        next.splice(next.begin(), prepared_, prepared_.begin());
        queue_.postPrepared(std::move(next));
    }

private:
    const std::shared_ptr<HelperService> service_;
    MainQueue& queue_;
    MainQueue::Tasks prepared_;
    bool hasBegun_ = false;
};

} // namespace

ListenerDelegate::ListenerDelegate(std::shared_ptr<HelperService> service, std::shared_ptr<const BinaryWatch> binary,
                                   MainQueue& queue, Leave leave)
    : service_(std::move(service)), binary_(std::move(binary)), queue_(queue), leaving_{[leave = std::move(leave)] {
          leave("Our binary was replaced on disk. Handing the fan back and leaving for the new helper.");
      }} {}

bool ListenerDelegate::shouldAcceptNewConnection(IncomingConnection& connection) {
    if (binary_ && !binary_->isCurrent()) {
        queue_.postPrepared(std::exchange(leaving_, {}));
        return false;
    }
    // Set the handlers before counting, so that no departure is missed, and count before the first request can run.
    const auto departures = std::make_shared<Departures>(service_, queue_);
    const auto reportDeparture = [departures] { departures->report(); };
    connection.exportObject(service_);
    connection.setInvalidationHandler(reportDeparture);
    connection.setInterruptionHandler(reportDeparture);
    service_->clientArrived();
    departures->begin();
    connection.resume();
    return true;
}

} // namespace kelo
