#pragma once

#import <Foundation/Foundation.h>

#include "helper/Listener.h"
#include "platform/posix/ConnectionPlaces.h"
#include "platform/posix/GuardedHelper.h"

namespace kelo {

/// A connection that the XPC listener presents. It belongs to the system; this only lasts as long as the call that
/// presents it.
class XPCIncomingConnection : public IncomingConnection {
public:
    /// The place is held until the connection has been invalidated.
    XPCIncomingConnection(NSXPCConnection* connection, ConnectionPlaces::Place place)
        : connection_(connection), place_(std::move(place)) {}

    void exportObject(std::shared_ptr<KeloHelperProtocol> object) override;
    void setInvalidationHandler(std::function<void()> handler) override;
    void setInterruptionHandler(std::function<void()> handler) override;
    void resume() override;

private:
    NSXPCConnection* const connection_;
    const ConnectionPlaces::Place place_;
    std::shared_ptr<GuardedHelper> helper_;
};

} // namespace kelo
