#pragma once

#import <Foundation/Foundation.h>

#include <optional>
#include <string>

#include "platform/macos/ObjCReference.h"
#include "protocol/KeloHelperProtocol.h"

namespace kelo {

/// Never empty: bytes that are not UTF-8 are taken one by one as Latin-1, since an error text that got lost would read
/// as success.
ObjCReference<NSString*> makeNSString(const std::string& text);

/// Empty for none.
ObjCReference<NSString*> makeNSString(const std::optional<std::string>& text);

/// Empty for none.
ObjCReference<NSData*> makeNSData(const std::optional<Data>& data);

/// None for nil. The part before the first NUL.
std::optional<std::string> textFromNSString(NSString* _Nullable text);

/// None for nil.
std::optional<Data> dataFromNSData(NSData* _Nullable data);

} // namespace kelo
