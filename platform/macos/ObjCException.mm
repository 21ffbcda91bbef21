#include "platform/macos/ObjCException.h"

#import <Foundation/Foundation.h>

#include "platform/macos/FoundationText.h"

namespace kelo {

std::optional<std::string> raisedBy(const std::function<void()>& work) {
    @try {
        work();
    } @catch (NSException* exception) {
        return textFromNSString(exception.reason).value_or("no reason was given");
    }
    return std::nullopt;
}

} // namespace kelo
