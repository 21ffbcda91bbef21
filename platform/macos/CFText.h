#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <optional>
#include <string>

#include "platform/macos/CFReference.h"

namespace kelo {

/// `text` as UTF-8, up to its first NUL. Nullopt for a string that UTF-8 cannot represent. `text` is not null.
std::optional<std::string> textFromCF(CFStringRef text);

/// Empty when `text` is not UTF-8.
CFReference<CFStringRef> textToCF(const std::string& text);

} // namespace kelo
