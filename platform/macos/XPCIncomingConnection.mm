#include "platform/macos/XPCIncomingConnection.h"

#include "platform/macos/ExportedHelper.h"
#include "platform/macos/HelperInterface.h"
#include "platform/posix/Containment.h"

namespace kelo {

void XPCIncomingConnection::exportObject(std::shared_ptr<KeloHelperProtocol> object) {
    connection_.exportedInterface = helperInterface();
    helper_ = std::make_shared<GuardedHelper>(std::move(object));
    connection_.exportedObject = makeExportedHelper(helper_).get(); // retained by the connection
}

// The blocks hold the handler, never the connection, which holds the blocks.

void XPCIncomingConnection::setInvalidationHandler(std::function<void()> handler) {
    const auto helper = helper_;
    const auto place = place_;
    connection_.invalidationHandler = ^{
      static_cast<void>(place); // let go with this block, which the system keeps until now
      if (helper)
          helper->connectionEnded();
      contain("the invalidation of a connection", handler);
    };
}

void XPCIncomingConnection::setInterruptionHandler(std::function<void()> handler) {
    connection_.interruptionHandler = ^{
      contain("the interruption of a connection", handler);
    };
}

void XPCIncomingConnection::resume() { [connection_ resume]; }

} // namespace kelo
