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
NSString* makeString(const std::string& text);
/// One that UTF-8 cannot hold.
NSString* makeStringWithoutUTF8();
NSData* makeData(const std::vector<std::uint8_t>& bytes);
NSError* makeError(NSInteger code, const std::string& description);
/// Without a reason if `reason` is null.
NSException* makeException(const char* reason);

/// Releases what this thread has autoreleased.
void drainAutoreleasePool();

} // namespace kelo::doubles
