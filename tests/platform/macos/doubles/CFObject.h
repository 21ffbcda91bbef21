#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <atomic>
#include <map>
#include <string>

#include "tests/platform/macos/doubles/CoreFoundationDouble.h"

namespace kelo::doubles {

/// Any CoreFoundation object of the double. Kept until `resetCoreFoundation`, so that excess releases are detected.
struct CFObject {
    explicit CFObject(CFKind ofKind);

    const void* const isa; ///< First, as in the compiler's constant strings.
    const CFKind kind;
    std::atomic<int> references = 1;

    std::string text;          ///< A string's text, in UTF-8.
    bool isConvertible = true; ///< Whether UTF-8 can represent the string.
    bool boolean = false;
    double number = 0;
    bool isExact = true; ///< Whether the number fits a double.
    std::map<std::string, CFTypeRef> entries;
};

CFObject& makeCFObject(CFKind kind);

CFObject& cfObject(CFTypeRef cf);

} // namespace kelo::doubles
