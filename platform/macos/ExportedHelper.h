#pragma once

#import <Foundation/Foundation.h>

#include <memory>

#include "platform/macos/ObjCReference.h"
#include "protocol/KeloHelperProtocol.h"

namespace kelo {

/// Creates an object that forwards the five requests, received on any thread, to `helper`. If `helper` drops a reply,
/// XPC calls the client's error handler.
ObjCReference<id> makeExportedHelper(std::shared_ptr<KeloHelperProtocol> helper);

} // namespace kelo
