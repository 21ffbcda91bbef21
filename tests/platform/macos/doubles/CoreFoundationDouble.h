#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <map>
#include <string>

namespace kelo::doubles {

// CoreFoundation objects that the other doubles return. Each function returns an object with one reference, which the
// journal counts under its kind.

enum class CFKind {
    string,
    boolean,
    number,
    dictionary,
    runLoop,
    runLoopSource,
    runLoopTimer,
    code,
    staticCode,
    requirement,
    data
};

/// The name under which the journal counts objects of `kind`.
constexpr const char* nameOf(CFKind kind) {
    constexpr const char* names[] = {"CFString",      "CFBoolean",       "CFNumber",       "CFDictionary",
                                     "CFRunLoop",     "CFRunLoopSource", "CFRunLoopTimer", "SecCode",
                                     "SecStaticCode", "SecRequirement",  "CFData"};
    return names[static_cast<std::size_t>(kind)];
}

/// Creates an object without content.
CFTypeRef makeCF(CFKind kind);
CFTypeRef makeCFString(const std::string& text);
/// Creates a string that UTF-8 cannot represent.
CFTypeRef makeCFStringWithoutUTF8();
CFTypeRef makeCFBoolean(bool value);
/// If `isExact` is false, a C++ `double` cannot represent the number.
CFTypeRef makeCFNumber(double value, bool isExact = true);
/// Takes ownership of the values' references.
CFTypeRef makeCFDictionary(const std::map<std::string, CFTypeRef>& entries);

bool isCF(CFTypeRef cf, CFKind kind);
/// Returns the text of a CFString, which may be a constant string.
std::string cfText(CFStringRef string);
CFTypeRef retainCF(CFTypeRef cf);

void failStringCreation(bool fails);

void resetCoreFoundation();

} // namespace kelo::doubles
