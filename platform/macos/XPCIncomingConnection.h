#pragma once

#import <Foundation/Foundation.h>

#include "helper/Listener.h"

namespace kelo {

/// A connection that the XPC listener passes to its delegate. The system owns the connection. Valid only during the
/// delegate's call.
class XPCIncomingConnection : public IncomingConnection {
public:
    explicit XPCIncomingConnection(NSXPCConnection* connection) : connection_(connection) {}

    void exportObject(std::shared_ptr<KeloHelperProtocol> object) override;
    void setInvalidationHandler(std::function<void()> handler) override;
    void setInterruptionHandler(std::function<void()> handler) override;
    void resume() override;

private:
    NSXPCConnection* const connection_;
};

} // namespace kelo
