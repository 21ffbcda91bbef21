#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <optional>
#include <string>

#include "platform/macos/CFReference.h"

namespace kelo {

/// Returns `text` as UTF-8 up to its first NUL, or nullopt for a string that UTF-8 cannot represent. `text` must not be
/// null.
std::optional<std::string> textFromCF(CFStringRef text);

/// Returns an empty reference if `text` is not UTF-8.
CFReference<CFStringRef> textToCF(const std::string& text);

} // namespace kelo
