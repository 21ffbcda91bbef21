#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <atomic>
#include <map>
#include <string>

namespace kelo::doubles {

/// What every CoreFoundation type is here. Kept until `resetCoreFoundation`, so that one release too many shows.
struct CFObject {
    enum class Kind {
        string = 7,
        boolean = 21,
        number = 22,
        dictionary = 18,
        code = 40,
        staticCode,
        requirement,
        runLoop,
        runLoopSource,
        runLoopTimer,
        data
    };

    explicit CFObject(Kind ofKind);

    const void* const isa; ///< First, where the compiler puts it into constant strings.
    const Kind kind;
    std::atomic<int> references = 1;

    std::string text;          ///< Of a string, in UTF-8.
    bool isConvertible = true; ///< Whether a string can be had in UTF-8.
    bool boolean = false;
    double number = 0;
    bool isExact = true; ///< Whether a number can be had as a double.
    std::map<std::string, CFTypeRef> entries;
};

/// These return objects with one reference, counted in the journal under "CFString" and the like.
CFTypeRef makeCF(CFObject::Kind kind);
CFTypeRef makeCFString(const std::string& text);
CFTypeRef makeCFBoolean(bool value);
CFTypeRef makeCFNumber(double value, bool isExact = true);

CFObject& cfObject(CFTypeRef cf);
/// Whether `cf` is one of ours: neither a constant string of the compiler's nor an Objective-C object.
bool isCFObject(CFTypeRef cf);
/// The text of a CFString, constant or not.
std::string cfText(CFStringRef string);
/// Adds a reference.
CFTypeRef retainCF(CFTypeRef cf);

/// Makes CFStringCreateWithCString fail.
void failStringCreation(bool fails);

void resetCoreFoundation();

} // namespace kelo::doubles
