#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <atomic>
#include <map>
#include <string>

#include "tests/platform/macos/doubles/CoreFoundationDouble.h"

namespace kelo::doubles {

/// What every CoreFoundation type is in the double. Kept until `resetCoreFoundation`, so that one release too many
/// shows.
struct CFObject {
    explicit CFObject(CFKind ofKind);

    const void* const isa; ///< First, where the compiler puts it into constant strings.
    const CFKind kind;
    std::atomic<int> references = 1;

    std::string text;          ///< Of a string, in UTF-8.
    bool isConvertible = true; ///< Whether a string is available in UTF-8.
    bool boolean = false;
    double number = 0;
    bool isExact = true; ///< Whether a number fits a double.
    std::map<std::string, CFTypeRef> entries;
};

/// One with one reference, counted in the journal.
CFObject& makeCFObject(CFKind kind);

CFObject& cfObject(CFTypeRef cf);

} // namespace kelo::doubles
