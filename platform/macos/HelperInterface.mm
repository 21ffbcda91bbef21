#include "platform/macos/HelperInterface.h"

#include "platform/macos/KeloHelperXPCProtocol.h"

namespace kelo {

NSXPCInterface* helperInterface() { return [NSXPCInterface interfaceWithProtocol:@protocol(KeloHelperProtocol)]; }

} // namespace kelo
