#include "platform/macos/SecuritySigningInformation.h"

#include <CoreFoundation/CoreFoundation.h>
#include <Security/Security.h>

#include "platform/macos/CFReference.h"
#include "platform/macos/CFText.h"

namespace kelo {

namespace {

CFReference<SecStaticCodeRef> ownStaticCode() {
    CFReference<SecCodeRef> self;
    if (SecCodeCopySelf(kSecCSDefaultFlags, self.out()) != errSecSuccess || !self)
        return {};
    CFReference<SecStaticCodeRef> code;
    if (SecCodeCopyStaticCode(self.get(), kSecCSDefaultFlags, code.out()) != errSecSuccess)
        return {};
    return code;
}

CFReference<CFDictionaryRef> ownSigningInformation() {
    const auto code = ownStaticCode();
    if (!code)
        return {};
    CFReference<CFDictionaryRef> information;
    // Without this flag, the information does not include the team.
    if (SecCodeCopySigningInformation(code.get(), kSecCSSigningInformation, information.out()) != errSecSuccess)
        return {};
    return information;
}

} // namespace

std::optional<std::string> SecuritySigningInformation::teamIdentifier() {
    const auto information = ownSigningInformation();
    if (!information || CFGetTypeID(information.get()) != CFDictionaryGetTypeID())
        return std::nullopt;
    const void* const team = CFDictionaryGetValue(information.get(), kSecCodeInfoTeamIdentifier); // not owned
    if (team == nullptr || CFGetTypeID(team) != CFStringGetTypeID())
        return std::nullopt;
    return textFromCF(static_cast<CFStringRef>(team));
}

} // namespace kelo
