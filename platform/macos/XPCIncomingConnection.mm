#include "platform/macos/XPCIncomingConnection.h"

#include "platform/macos/ExportedHelper.h"
#include "platform/macos/HelperInterface.h"
#include "platform/posix/Containment.h"
#include "platform/posix/GuardedHelper.h"

namespace kelo {

void XPCIncomingConnection::exportObject(std::shared_ptr<KeloHelperProtocol> object) {
    connection_.exportedInterface = helperInterface();
    // The connection retains the exported object.
    connection_.exportedObject = makeExportedHelper(std::make_shared<GuardedHelper>(std::move(object))).get();
}

// The connection owns the blocks below, so they must not own the connection. They share the handler instead of
// containing it: copying a function may throw, and exceptions must not escape into the system code that copies the
// blocks.

void XPCIncomingConnection::setInvalidationHandler(std::function<void()> handler) {
    const auto shared = std::make_shared<const std::function<void()>>(std::move(handler));
    connection_.invalidationHandler = ^{
      contain("the invalidation of a connection", *shared);
    };
}

void XPCIncomingConnection::setInterruptionHandler(std::function<void()> handler) {
    const auto shared = std::make_shared<const std::function<void()>>(std::move(handler));
    connection_.interruptionHandler = ^{
      contain("the interruption of a connection", *shared);
    };
}

void XPCIncomingConnection::resume() { [connection_ resume]; }

} // namespace kelo
