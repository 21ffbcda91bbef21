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

// The blocks hold the handler, never the connection, which holds the blocks. They share it: the system copies a block
// in frames that no exception may cross, and copying a function may throw.

void XPCIncomingConnection::setInvalidationHandler(std::function<void()> handler) {
    const auto helper = helper_;
    const auto place = place_;
    const auto shared = std::make_shared<const std::function<void()>>(std::move(handler));
    connection_.invalidationHandler = ^{
      static_cast<void>(place); // let go with this block, which the system keeps until now
      if (helper)
          helper->connectionEnded();
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
