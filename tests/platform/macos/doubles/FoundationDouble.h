#pragma once

#import <Foundation/Foundation.h>

#include <memory>
#include <string>
#include <vector>

// The reference counting that is hidden from the sources under test.
@interface NSObject (KeloReferences)
- (instancetype)retain;
- (void)release;
- (instancetype)autorelease;
- (void)dealloc;
@end

/// What @autoreleasepool makes and drains.
@interface NSAutoreleasePool : NSObject
- (void)drain;
@end

extern "C" void objc_release(id object); // also of a block

namespace kelo::doubles {

/// What a double keeps behind an object, by type.
template <typename Payload> Payload& payload(NSObject* object);

/// Gives `object` its payload.
void setPayload(NSObject* object, std::shared_ptr<void> payload);
std::shared_ptr<void> rawPayload(NSObject* object);

template <typename Payload> Payload& payload(NSObject* object) {
    return *static_cast<Payload*>(rawPayload(object).get());
}

// These return objects with one reference.
NSString* makeString(const std::string& text) __attribute__((ns_returns_retained));
/// One that UTF-8 cannot hold.
NSString* makeStringWithoutUTF8() __attribute__((ns_returns_retained));
NSError* makeError(NSInteger code, const std::string& description) __attribute__((ns_returns_retained));
/// Without a reason if `reason` is null.
NSException* makeException(const char* reason) __attribute__((ns_returns_retained));

/// Autoreleases an object or a block.
id addToPool(id object);

/// Releases what this thread has autoreleased.
void drainAutoreleasePool();

} // namespace kelo::doubles
