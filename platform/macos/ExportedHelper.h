#pragma once

#import <Foundation/Foundation.h>

#include <memory>

#include "platform/macos/ObjCReference.h"
#include "protocol/KeloHelperProtocol.h"

namespace kelo {

/// An object that receives the five requests of clients, on any thread, and forwards them to `helper`. Where that drops
/// the reply, XPC calls the client's error handler.
ObjCReference<id> makeExportedHelper(std::shared_ptr<KeloHelperProtocol> helper);

} // namespace kelo
