#pragma once

#import <Foundation/Foundation.h>

#include <memory>
#include <string>
#include <vector>

// Methods for reference counting. The code under test does not call them.
@interface NSObject (KeloReferences)
- (instancetype)retain;
- (instancetype)autorelease;
- (void)dealloc;
@end

/// The compiler creates and drains it for @autoreleasepool.
@interface NSAutoreleasePool : NSObject
- (void)drain;
@end

namespace kelo::doubles {

/// Returns the state that a double has attached to an object. `Payload` is the state's type.
template <typename Payload> Payload& payload(NSObject* object);

void setPayload(NSObject* object, std::shared_ptr<void> payload);
std::shared_ptr<void> rawPayload(NSObject* object);

int referencesTo(NSObject* object);

template <typename Payload> Payload& payload(NSObject* object) {
    return *static_cast<Payload*>(rawPayload(object).get());
}

// The functions below return objects with one reference.

NSString* makeString(const std::string& text);
/// Creates a string that UTF-8 cannot represent.
NSString* makeStringWithoutUTF8();
NSError* makeError(NSInteger code, const std::string& description);
/// The exception has no reason if `reason` is null.
NSException* makeException(const char* reason);

} // namespace kelo::doubles
