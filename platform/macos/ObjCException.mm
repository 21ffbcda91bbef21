#include "platform/macos/ObjCException.h"

#import <Foundation/Foundation.h>

#include "platform/macos/FoundationText.h"

namespace kelo {

std::optional<std::string> raisedBy(const std::function<void()>& work) {
    std::optional<std::string> reason;
    @autoreleasepool { // the main thread has no other pool
        @try {
            work();
        } @catch (NSException* exception) {
            reason = textFromNSString(exception.reason).value_or("no reason was given");
        }
    }
    return reason;
}

} // namespace kelo
