#include "tests/platform/macos/doubles/CoreFoundationDouble.h"

#include <cstring>
#include <memory>
#include <mutex>
#include <vector>

#include "tests/platform/macos/doubles/CFObject.h"
#include "tests/platform/macos/doubles/Journal.h"

// The class of the compiler's constant strings (CFSTR).
extern "C" {
extern int __CFConstantStringClassReference[];
int __CFConstantStringClassReference[24];
}

namespace kelo::doubles {

namespace {

const char doublesClass = 0;

std::mutex objectsMutex;
std::vector<std::unique_ptr<CFObject>> objects;
bool stringCreationFails = false;

/// The compiler's layout of a constant string.
struct ConstantString {
    const void* isa;
    int flags;
    const char* characters;
    long length;
};

bool isConstantString(CFTypeRef cf) {
    return static_cast<const ConstantString*>(cf)->isa == __CFConstantStringClassReference;
}

/// Returns false for the compiler's constant strings and for Objective-C objects.
bool isCFObject(CFTypeRef cf) { return static_cast<const CFObject*>(cf)->isa == &doublesClass; }

CFTypeID typeOf(CFKind kind) { return static_cast<CFTypeID>(kind) + 1; } // 0 is not a type

/// Returns whether `cf` can be used. Reports a misuse if using it would end the process on the platform.
bool isUsable(CFTypeRef cf, const char* function) {
    if (cf == nullptr) {
        journal().misuse(std::string(function) + " of null");
        return false;
    }
    if (isCFObject(cf) && cfObject(cf).references <= 0) {
        journal().misuse(std::string(function) + " of a " + nameOf(cfObject(cf).kind) + " after its release");
        return false;
    }
    return true;
}

} // namespace

CFObject::CFObject(CFKind ofKind) : isa(&doublesClass), kind(ofKind) {}

CFObject& makeCFObject(CFKind kind) {
    const std::lock_guard lock(objectsMutex);
    objects.push_back(std::make_unique<CFObject>(kind));
    journal().created(nameOf(kind));
    return *objects.back();
}

CFObject& cfObject(CFTypeRef cf) { return *static_cast<CFObject*>(const_cast<void*>(cf)); }

CFTypeRef makeCF(CFKind kind) { return &makeCFObject(kind); }

CFTypeRef makeCFString(const std::string& text) {
    auto& string = makeCFObject(CFKind::string);
    string.text = text;
    return &string;
}

CFTypeRef makeCFStringWithoutUTF8() {
    auto& string = makeCFObject(CFKind::string);
    string.isConvertible = false;
    return &string;
}

CFTypeRef makeCFBoolean(bool value) {
    auto& boolean = makeCFObject(CFKind::boolean);
    boolean.boolean = value;
    return &boolean;
}

CFTypeRef makeCFNumber(double value, bool isExact) {
    auto& number = makeCFObject(CFKind::number);
    number.number = value;
    number.isExact = isExact;
    return &number;
}

CFTypeRef makeCFDictionary(const std::map<std::string, CFTypeRef>& entries) {
    auto& dictionary = makeCFObject(CFKind::dictionary);
    dictionary.entries = entries;
    return &dictionary;
}

bool isCF(CFTypeRef cf, CFKind kind) { return cf != nullptr && cfObject(cf).kind == kind; }

std::string cfText(CFStringRef string) {
    if (string == nullptr)
        return "null";
    if (!isConstantString(string))
        return cfObject(string).text;
    const auto* const constant = reinterpret_cast<const ConstantString*>(string);
    return {constant->characters, static_cast<std::size_t>(constant->length)};
}

CFTypeRef retainCF(CFTypeRef cf) {
    ++cfObject(cf).references;
    return cf;
}

void failStringCreation(bool fails) { stringCreationFails = fails; }

void resetCoreFoundation() {
    const std::lock_guard lock(objectsMutex);
    objects.clear();
    stringCreationFails = false;
}

} // namespace kelo::doubles

using namespace kelo::doubles;

extern "C" {

const CFAllocatorRef kCFAllocatorDefault = nullptr;

void CFRelease(CFTypeRef cf) {
    if (!isUsable(cf, "CFRelease"))
        return;
    if (isConstantString(cf)) {
        journal().misuse("CFRelease of a constant string");
    } else if (--cfObject(cf).references == 0) {
        for (const auto& [key, value] : cfObject(cf).entries)
            CFRelease(value);
        journal().destroyed(nameOf(cfObject(cf).kind));
    }
}

CFTypeID CFGetTypeID(CFTypeRef cf) {
    if (!isUsable(cf, "CFGetTypeID"))
        return 0;
    return typeOf(isConstantString(cf) ? CFKind::string : cfObject(cf).kind);
}

CFTypeID CFBooleanGetTypeID() { return typeOf(CFKind::boolean); }
CFTypeID CFNumberGetTypeID() { return typeOf(CFKind::number); }
CFTypeID CFStringGetTypeID() { return typeOf(CFKind::string); }
CFTypeID CFDictionaryGetTypeID() { return typeOf(CFKind::dictionary); }

Boolean CFBooleanGetValue(CFBooleanRef boolean) {
    if (!isUsable(boolean, "CFBooleanGetValue"))
        return 0;
    if (cfObject(boolean).kind != CFKind::boolean)
        journal().misuse("CFBooleanGetValue of a non-boolean");
    return cfObject(boolean).boolean;
}

Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void* value) {
    if (!isUsable(number, "CFNumberGetValue"))
        return 0;
    if (cfObject(number).kind != CFKind::number || type != kCFNumberDoubleType) {
        journal().misuse("CFNumberGetValue of a non-number, or not into a double");
        return 0;
    }
    std::memcpy(value, &cfObject(number).number, sizeof(double));
    return cfObject(number).isExact;
}

const void* CFDictionaryGetValue(CFDictionaryRef dictionary, const void* key) {
    if (!isUsable(dictionary, "CFDictionaryGetValue"))
        return nullptr;
    const auto& entries = cfObject(dictionary).entries;
    const auto found = entries.find(cfText(static_cast<CFStringRef>(key)));
    return found == entries.end() ? nullptr : found->second;
}

CFIndex CFStringGetLength(CFStringRef string) {
    if (!isUsable(string, "CFStringGetLength"))
        return 0;
    CFIndex units = 0; // UTF-16: two units beyond the basic plane, otherwise one
    for (const char byte : cfText(string)) {
        const auto value = static_cast<unsigned char>(byte);
        units += (value & 0xC0) == 0x80 ? 0 : value >= 0xF0 ? 2 : 1;
    }
    return units;
}

CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding) {
    if (encoding != kCFStringEncodingUTF8)
        journal().misuse("CFStringGetMaximumSizeForEncoding for an encoding other than UTF-8");
    return length * 3;
}

Boolean CFStringGetCString(CFStringRef string, char* buffer, CFIndex size, CFStringEncoding encoding) {
    if (!isUsable(string, "CFStringGetCString"))
        return 0;
    if (encoding != kCFStringEncodingUTF8)
        journal().misuse("CFStringGetCString in an encoding other than UTF-8");
    const std::string text = cfText(string);
    if (!isConstantString(string) && !cfObject(string).isConvertible)
        return 0;
    if (size < static_cast<CFIndex>(text.size()) + 1)
        return 0;
    std::memcpy(buffer, text.c_str(), text.size() + 1);
    return 1;
}

CFStringRef CFStringCreateWithCString(CFAllocatorRef allocator, const char* text, CFStringEncoding encoding) {
    if (allocator != kCFAllocatorDefault || encoding != kCFStringEncodingUTF8)
        journal().misuse("CFStringCreateWithCString with another allocator or encoding");
    return stringCreationFails ? nullptr : static_cast<CFStringRef>(makeCFString(text));
}

} // extern "C"
