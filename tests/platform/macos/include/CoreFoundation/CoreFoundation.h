#pragma once

// Source of unmarked declarations: V (swift-corelibs-foundation, CoreFoundation/include/*.h; CF).

#ifdef __cplusplus
extern "C" {
#endif

typedef unsigned char Boolean; // V CarbonHeaders, MacTypes.h
typedef signed int SInt32;     // V CarbonHeaders, MacTypes.h
typedef unsigned int UInt32;   // V CarbonHeaders, MacTypes.h
typedef SInt32 OSStatus;       // V CarbonHeaders, MacTypes.h

typedef signed long CFIndex;
typedef unsigned long CFTypeID;
typedef unsigned long CFOptionFlags;
typedef double CFTimeInterval;
typedef CFTimeInterval CFAbsoluteTime;

typedef const void* CFTypeRef;
typedef const struct __CFAllocator* CFAllocatorRef;
typedef const struct __CFString* CFStringRef;
typedef const struct __CFBoolean* CFBooleanRef;
typedef const struct __CFNumber* CFNumberRef;
typedef const struct __CFDictionary* CFDictionaryRef;
typedef struct __CFDictionary* CFMutableDictionaryRef;
typedef struct __CFRunLoop* CFRunLoopRef;
typedef struct __CFRunLoopSource* CFRunLoopSourceRef;
typedef struct __CFRunLoopTimer* CFRunLoopTimerRef;
typedef CFStringRef CFRunLoopMode;

extern const CFAllocatorRef kCFAllocatorDefault; // NULL

void CFRelease(CFTypeRef cf); // crashes on NULL

CFTypeID CFGetTypeID(CFTypeRef cf); // crashes on NULL
CFTypeID CFBooleanGetTypeID(void);
CFTypeID CFNumberGetTypeID(void); // differs from CFBoolean's
CFTypeID CFStringGetTypeID(void);
CFTypeID CFDictionaryGetTypeID(void); // G

Boolean CFBooleanGetValue(CFBooleanRef boolean); // undefined for other types

// Source: V. CF_ENUM makes this a distinct type with the underlying type CFIndex.
typedef enum CFNumberType : CFIndex { kCFNumberDoubleType = 13 } CFNumberType;
Boolean CFNumberGetValue(CFNumberRef number, CFNumberType theType,
                         void* valuePtr); // G: false on loss

const void* CFDictionaryGetValue(CFDictionaryRef theDict, const void* key); // get; NULL if absent

typedef UInt32 CFStringEncoding;
static const CFStringEncoding kCFStringEncodingUTF8 = 0x08000100;
CFIndex CFStringGetLength(CFStringRef theString);                                     // UTF-16 units
CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding); // without the NUL
Boolean CFStringGetCString(CFStringRef theString, char* buffer, CFIndex bufferSize, CFStringEncoding encoding);
CFStringRef CFStringCreateWithCString(CFAllocatorRef alloc, const char* cStr, CFStringEncoding encoding); // create

// Refers to a constant that the compiler emits and that is never released.
#define CFSTR(cStr) ((CFStringRef)__builtin___CFStringMakeConstantString("" cStr ""))

extern const CFRunLoopMode kCFRunLoopDefaultMode;
CFRunLoopRef CFRunLoopGetCurrent(void); // get
CFRunLoopRef CFRunLoopGetMain(void);    // get
void CFRunLoopRun(void);             // on the main thread also drains the main dispatch queue; ends only when stopped
void CFRunLoopStop(CFRunLoopRef rl); // the tests stop it
// Available since macOS 10.4. Runs for at most `seconds` and returns the reason for the end of the run. We always pass
// false as the flag.
SInt32 CFRunLoopRunInMode(CFRunLoopMode mode, CFTimeInterval seconds, Boolean returnAfterSourceHandled);
void CFRunLoopAddSource(CFRunLoopRef rl, CFRunLoopSourceRef source, CFRunLoopMode mode); // retains the source
void CFRunLoopRemoveSource(CFRunLoopRef rl, CFRunLoopSourceRef source, CFRunLoopMode mode);

typedef struct {
    CFIndex version; // 0
    void* info;      // not retained unless `retain` is set
    const void* (*retain)(const void* info);
    void (*release)(const void* info);
    CFStringRef (*copyDescription)(const void* info);
} CFRunLoopTimerContext;
typedef void (*CFRunLoopTimerCallBack)(CFRunLoopTimerRef timer, void* info);
// Returns a timer that the caller must release. If `interval` is not positive, the timer fires once and is then
// invalidated. `flags` and `order` must be 0. Copies the context.
CFRunLoopTimerRef CFRunLoopTimerCreate(CFAllocatorRef allocator, CFAbsoluteTime fireDate, CFTimeInterval interval,
                                       CFOptionFlags flags, CFIndex order, CFRunLoopTimerCallBack callout,
                                       CFRunLoopTimerContext* context);
void CFRunLoopAddTimer(CFRunLoopRef rl, CFRunLoopTimerRef timer, CFRunLoopMode mode); // retains the timer
void CFRunLoopTimerInvalidate(CFRunLoopTimerRef timer);                               // on the run loop's thread
Boolean CFRunLoopTimerIsValid(CFRunLoopTimerRef timer);                               // used by the tests
CFAbsoluteTime CFAbsoluteTimeGetCurrent(void);

#ifdef __cplusplus
}
#endif
