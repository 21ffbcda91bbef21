// Journals the calls to the real CoreFoundation. The linker redirects them to this file, which passes them on and
// counts the references that the code under test holds.

#include <CoreFoundation/CoreFoundation.h>

#include <map>
#include <mutex>
#include <set>

#include "tests/platform/macos/doubles/CoreFoundationDouble.h"
#include "tests/platform/macos/doubles/Journal.h"
#include "tests/platform/macos/doubles/RunLoopDouble.h"

namespace kelo::doubles {

namespace {

struct Held {
    CFKind kind;
    int references = 0;
};

std::mutex mutex;
std::map<CFTypeRef, Held> held;
std::set<CFRunLoopSourceRef> sources;
bool stringCreationFails = false;

CFTypeRef hold(CFKind kind, CFTypeRef cf) {
    const std::lock_guard lock(mutex);
    auto& entry = held[cf];
    entry.kind = kind;
    ++entry.references;
    journal().created(nameOf(kind));
    return cf;
}

std::string nameOf(CFRunLoopRef runLoop) { return runLoop == CFRunLoopGetMain() ? "main" : "another thread's"; }

std::string nameOf(CFRunLoopMode mode) { return mode == kCFRunLoopDefaultMode ? "default" : "another mode"; }

} // namespace
} // namespace kelo::doubles

using namespace kelo::doubles;

extern "C" {

void __real_CFRelease(CFTypeRef cf);
CFStringRef __real_CFStringCreateWithCString(CFAllocatorRef allocator, const char* text, CFStringEncoding encoding);
void __real_CFRunLoopRun(void);
void __real_CFRunLoopStop(CFRunLoopRef runLoop);
void __real_CFRunLoopAddSource(CFRunLoopRef runLoop, CFRunLoopSourceRef source, CFRunLoopMode mode);
void __real_CFRunLoopRemoveSource(CFRunLoopRef runLoop, CFRunLoopSourceRef source, CFRunLoopMode mode);
CFRunLoopTimerRef __real_CFRunLoopTimerCreate(CFAllocatorRef allocator, CFAbsoluteTime fireDate,
                                              CFTimeInterval interval, CFOptionFlags flags, CFIndex order,
                                              CFRunLoopTimerCallBack callback, CFRunLoopTimerContext* context);
void __real_CFRunLoopAddTimer(CFRunLoopRef runLoop, CFRunLoopTimerRef timer, CFRunLoopMode mode);
void __real_CFRunLoopTimerInvalidate(CFRunLoopTimerRef timer);

void __wrap_CFRelease(CFTypeRef cf) {
    {
        const std::lock_guard lock(mutex);
        const auto found = held.find(cf);
        if (found == held.end())
            return journal().misuse("CFRelease of an object that is not held");
        journal().destroyed(nameOf(found->second.kind));
        if (--found->second.references == 0)
            held.erase(found);
    }
    __real_CFRelease(cf);
}

CFStringRef __wrap_CFStringCreateWithCString(CFAllocatorRef allocator, const char* text, CFStringEncoding encoding) {
    if (stringCreationFails)
        return nullptr;
    const auto string = __real_CFStringCreateWithCString(allocator, text, encoding);
    hold(CFKind::string, string);
    return string;
}

void __wrap_CFRunLoopRun() {
    journal().add("CFRunLoopRun");
    __real_CFRunLoopRun();
}

void __wrap_CFRunLoopStop(CFRunLoopRef runLoop) {
    journal().add("CFRunLoopStop " + nameOf(runLoop));
    __real_CFRunLoopStop(runLoop);
}

void __wrap_CFRunLoopAddSource(CFRunLoopRef runLoop, CFRunLoopSourceRef source, CFRunLoopMode mode) {
    journal().add("CFRunLoopAddSource " + nameOf(runLoop) + " " + nameOf(mode));
    sources.insert(source);
    __real_CFRunLoopAddSource(runLoop, source, mode);
}

void __wrap_CFRunLoopRemoveSource(CFRunLoopRef runLoop, CFRunLoopSourceRef source, CFRunLoopMode mode) {
    journal().add("CFRunLoopRemoveSource " + nameOf(runLoop) + " " + nameOf(mode));
    sources.erase(source);
    __real_CFRunLoopRemoveSource(runLoop, source, mode);
}

CFRunLoopTimerRef __wrap_CFRunLoopTimerCreate(CFAllocatorRef allocator, CFAbsoluteTime fireDate,
                                              CFTimeInterval interval, CFOptionFlags flags, CFIndex order,
                                              CFRunLoopTimerCallBack callback, CFRunLoopTimerContext* context) {
    journal().add(std::string("CFRunLoopTimerCreate ") + (interval > 0 ? "repeating" : "once"));
    const auto timer = __real_CFRunLoopTimerCreate(allocator, fireDate, interval, flags, order, callback, context);
    hold(CFKind::runLoopTimer, timer);
    return timer;
}

void __wrap_CFRunLoopAddTimer(CFRunLoopRef runLoop, CFRunLoopTimerRef timer, CFRunLoopMode mode) {
    journal().add("CFRunLoopAddTimer " + nameOf(runLoop) + " " + nameOf(mode));
    __real_CFRunLoopAddTimer(runLoop, timer, mode);
}

void __wrap_CFRunLoopTimerInvalidate(CFRunLoopTimerRef timer) {
    journal().add("CFRunLoopTimerInvalidate");
    __real_CFRunLoopTimerInvalidate(timer);
}

} // extern "C"

namespace kelo::doubles {

CFTypeRef makeCF(CFKind kind) {
    CFTypeRef made = nullptr;
    if (kind == CFKind::runLoopSource) {
        CFRunLoopSourceContext context{};
        context.perform = [](void*) {};
        made = CFRunLoopSourceCreate(kCFAllocatorDefault, 0, &context);
    } else {
        made = CFDataCreateMutable(kCFAllocatorDefault, 0); // each is a separate object
    }
    return hold(kind, made);
}

CFTypeRef makeCFString(const std::string& text) {
    return hold(CFKind::string,
                __real_CFStringCreateWithCString(kCFAllocatorDefault, text.c_str(), kCFStringEncodingUTF8));
}

CFTypeRef makeCFStringWithoutUTF8() {
    const UniChar half = 0xD800; // half a surrogate pair
    return hold(CFKind::string, CFStringCreateWithCharacters(kCFAllocatorDefault, &half, 1));
}

CFTypeRef makeCFBoolean(bool value) { return hold(CFKind::boolean, value ? kCFBooleanTrue : kCFBooleanFalse); }

CFTypeRef makeCFNumber(double value, bool isExact) {
    const std::int64_t tooLong = (std::int64_t{1} << 53) + 1;
    return hold(CFKind::number, isExact ? CFNumberCreate(kCFAllocatorDefault, kCFNumberDoubleType, &value)
                                        : CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &tooLong));
}

CFTypeRef makeCFDictionary(const std::map<std::string, CFTypeRef>& entries) {
    auto* const dictionary = CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                                       &kCFTypeDictionaryValueCallBacks);
    for (const auto& [key, value] : entries) {
        const auto name = makeCFString(key);
        CFDictionarySetValue(dictionary, name, value);
        CFRelease(name);
        CFRelease(value);
    }
    return hold(CFKind::dictionary, dictionary);
}

bool isCF(CFTypeRef cf, CFKind kind) {
    const std::lock_guard lock(mutex);
    const auto found = held.find(cf);
    return found != held.end() && found->second.kind == kind;
}

std::string cfText(CFStringRef string) {
    char text[4096] = {};
    return CFStringGetCString(string, text, sizeof text, kCFStringEncodingUTF8) ? text : "?";
}

CFTypeRef retainCF(CFTypeRef cf) {
    const std::lock_guard lock(mutex);
    auto& entry = held.at(cf);
    ++entry.references;
    journal().created(nameOf(entry.kind));
    return CFRetain(cf);
}

void failStringCreation(bool fails) { stringCreationFails = fails; }

void resetCoreFoundation() {
    const std::lock_guard lock(mutex);
    held.clear();
    stringCreationFails = false;
}

bool isScheduled(CFRunLoopSourceRef source) { return sources.contains(source); }

void resetRunLoop() { sources.clear(); }

} // namespace kelo::doubles
