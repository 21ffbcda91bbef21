#pragma once

#import <Foundation/Foundation.h>

#include <optional>
#include <string>

#include "platform/macos/ObjCReference.h"
#include "protocol/KeloHelperProtocol.h"

namespace kelo {

/// The reference is never empty: text that is not UTF-8 is read as Latin-1, since a missing error text would mean
/// success.
ObjCReference<NSString*> makeNSString(const std::string& text);

ObjCReference<NSString*> makeNSString(const std::optional<std::string>& text);

ObjCReference<NSData*> makeNSData(const std::optional<Data>& data);

/// Returns the part of the text before the first NUL; nullopt for nil.
std::optional<std::string> textFromNSString(NSString* _Nullable text);

std::optional<Data> dataFromNSData(NSData* _Nullable data);

} // namespace kelo
