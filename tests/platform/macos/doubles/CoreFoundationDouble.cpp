#include "tests/platform/macos/doubles/CoreFoundationDouble.h"

#include <cstring>
#include <memory>
#include <mutex>
#include <vector>

#include "tests/platform/macos/doubles/CFObject.h"
#include "tests/platform/macos/doubles/Journal.h"

// The class of the strings that the compiler makes for CFSTR.
extern "C" {
extern int __CFConstantStringClassReference[];
int __CFConstantStringClassReference[24];
}

namespace kelo::doubles {

namespace {

const char classOfOurs = 0;

std::mutex objectsMutex;
std::vector<std::unique_ptr<CFObject>> objects;
bool stringCreationFails = false;

std::string nameOf(CFObject::Kind kind) {
    switch (kind) {
    case CFObject::Kind::string:
        return "CFString";
    case CFObject::Kind::boolean:
        return "CFBoolean";
    case CFObject::Kind::number:
        return "CFNumber";
    case CFObject::Kind::dictionary:
        return "CFDictionary";
    case CFObject::Kind::code:
        return "SecCode";
    case CFObject::Kind::staticCode:
        return "SecStaticCode";
    case CFObject::Kind::requirement:
        return "SecRequirement";
    case CFObject::Kind::runLoop:
        return "CFRunLoop";
    case CFObject::Kind::runLoopSource:
        return "CFRunLoopSource";
    case CFObject::Kind::runLoopTimer:
        return "CFRunLoopTimer";
    case CFObject::Kind::data:
        return "CFData";
    }
    return "?";
}

/// As the compiler lays a constant string out.
struct ConstantString {
    const void* isa;
    int flags;
    const char* characters;
    long length;
};

bool isConstantString(CFTypeRef cf) {
    return static_cast<const ConstantString*>(cf)->isa == __CFConstantStringClassReference;
}

/// Whether `cf` is not a constant string of the compiler's nor an Objective-C object.
bool isCFObject(CFTypeRef cf) { return static_cast<const CFObject*>(cf)->isa == &classOfOurs; }

/// The function's name goes into the journal where the platform would end the process.
bool isUsable(CFTypeRef cf, const char* function) {
    if (cf == nullptr) {
        journal().misuse(std::string(function) + " of null");
        return false;
    }
    if (isCFObject(cf) && cfObject(cf).references <= 0) {
        journal().misuse(std::string(function) + " of a " + nameOf(cfObject(cf).kind) + " that is gone");
        return false;
    }
    return true;
}

CFObject::Kind kindOf(CFKind kind) {
    switch (kind) {
    case CFKind::code:
        return CFObject::Kind::code;
    case CFKind::staticCode:
        return CFObject::Kind::staticCode;
    case CFKind::requirement:
        return CFObject::Kind::requirement;
    case CFKind::runLoopSource:
        return CFObject::Kind::runLoopSource;
    case CFKind::data:
        return CFObject::Kind::data;
    }
    return CFObject::Kind::data;
}

} // namespace

CFObject::CFObject(Kind ofKind) : isa(&classOfOurs), kind(ofKind) {}

CFObject& makeCFObject(CFObject::Kind kind) {
    const std::lock_guard lock(objectsMutex);
    objects.push_back(std::make_unique<CFObject>(kind));
    journal().created(nameOf(kind));
    return *objects.back();
}

CFObject& cfObject(CFTypeRef cf) { return *static_cast<CFObject*>(const_cast<void*>(cf)); }

CFTypeRef makeCF(CFKind kind) { return &makeCFObject(kindOf(kind)); }

CFTypeRef makeCFString(const std::string& text) {
    auto& string = makeCFObject(CFObject::Kind::string);
    string.text = text;
    return &string;
}

CFTypeRef makeCFStringWithoutUTF8() {
    auto& string = makeCFObject(CFObject::Kind::string);
    string.isConvertible = false;
    return &string;
}

CFTypeRef makeCFBoolean(bool value) {
    auto& boolean = makeCFObject(CFObject::Kind::boolean);
    boolean.boolean = value;
    return &boolean;
}

CFTypeRef makeCFNumber(double value, bool isExact) {
    auto& number = makeCFObject(CFObject::Kind::number);
    number.number = value;
    number.isExact = isExact;
    return &number;
}

CFTypeRef makeCFDictionary(const std::map<std::string, CFTypeRef>& entries) {
    auto& dictionary = makeCFObject(CFObject::Kind::dictionary);
    dictionary.entries = entries;
    return &dictionary;
}

bool isCF(CFTypeRef cf, CFKind kind) { return cf != nullptr && cfObject(cf).kind == kindOf(kind); }

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
        journal().gone(nameOf(cfObject(cf).kind));
    }
}

CFTypeID CFGetTypeID(CFTypeRef cf) {
    if (!isUsable(cf, "CFGetTypeID"))
        return 0;
    return static_cast<CFTypeID>(isConstantString(cf) ? CFObject::Kind::string : cfObject(cf).kind);
}

CFTypeID CFBooleanGetTypeID() { return static_cast<CFTypeID>(CFObject::Kind::boolean); }
CFTypeID CFNumberGetTypeID() { return static_cast<CFTypeID>(CFObject::Kind::number); }
CFTypeID CFStringGetTypeID() { return static_cast<CFTypeID>(CFObject::Kind::string); }
CFTypeID CFDictionaryGetTypeID() { return static_cast<CFTypeID>(CFObject::Kind::dictionary); }

Boolean CFBooleanGetValue(CFBooleanRef boolean) {
    if (!isUsable(boolean, "CFBooleanGetValue"))
        return 0;
    if (cfObject(boolean).kind != CFObject::Kind::boolean)
        journal().misuse("CFBooleanGetValue of what is no boolean");
    return cfObject(boolean).boolean;
}

Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void* value) {
    if (!isUsable(number, "CFNumberGetValue"))
        return 0;
    if (cfObject(number).kind != CFObject::Kind::number || type != kCFNumberDoubleType) {
        journal().misuse("CFNumberGetValue of what is no number, or into what is no double");
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
    CFIndex units = 0; // of UTF-16: one for each character, two beyond the basic plane
    for (const char byte : cfText(string)) {
        const auto value = static_cast<unsigned char>(byte);
        units += (value & 0xC0) == 0x80 ? 0 : value >= 0xF0 ? 2 : 1;
    }
    return units;
}

CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding) {
    if (encoding != kCFStringEncodingUTF8)
        journal().misuse("CFStringGetMaximumSizeForEncoding for another encoding than UTF-8");
    return length * 3;
}

Boolean CFStringGetCString(CFStringRef string, char* buffer, CFIndex size, CFStringEncoding encoding) {
    if (!isUsable(string, "CFStringGetCString"))
        return 0;
    if (encoding != kCFStringEncodingUTF8)
        journal().misuse("CFStringGetCString in another encoding than UTF-8");
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
