#pragma once

#import <Foundation/Foundation.h>

#include <memory>

#include "platform/macos/ObjCReference.h"
#include "protocol/KeloHelperProtocol.h"

namespace kelo {

/// An object for clients to send the five requests to, on any thread; it passes them on to `helper`. Each request is
/// replied to exactly once, also when `helper` throws, replies twice or drops the reply: the reply is then nil, 0, or
/// an error text.
ObjCReference<id> makeExportedHelper(std::shared_ptr<KeloHelperProtocol> helper);

} // namespace kelo
