#pragma once

#import <Foundation/Foundation.h>

#include <memory>
#include <string>
#include <vector>

// Reference counting methods that the sources under test do not call.
@interface NSObject (KeloReferences)
- (instancetype)retain;
- (instancetype)autorelease;
- (void)dealloc;
@end

/// Created and drained by @autoreleasepool.
@interface NSAutoreleasePool : NSObject
- (void)drain;
@end

namespace kelo::doubles {

/// The state that a double attaches to an object, by type.
template <typename Payload> Payload& payload(NSObject* object);

void setPayload(NSObject* object, std::shared_ptr<void> payload);
std::shared_ptr<void> rawPayload(NSObject* object);

int referencesTo(NSObject* object);

template <typename Payload> Payload& payload(NSObject* object) {
    return *static_cast<Payload*>(rawPayload(object).get());
}

// These return objects with one reference.
NSString* makeString(const std::string& text);
/// A string that UTF-8 cannot represent.
NSString* makeStringWithoutUTF8();
NSError* makeError(NSInteger code, const std::string& description);
/// Has no reason if `reason` is null.
NSException* makeException(const char* reason);

} // namespace kelo::doubles
