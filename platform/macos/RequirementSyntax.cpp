#include "platform/macos/RequirementSyntax.h"

#include <Security/Security.h>

#include "platform/macos/CFReference.h"
#include "platform/macos/CFText.h"

namespace kelo {

bool isWellFormedRequirement(const std::string& requirement) {
    const auto text = textToCF(requirement);
    if (!text)
        return false;
    CFReference<SecRequirementRef> parsed;
    return SecRequirementCreateWithString(text.get(), kSecCSDefaultFlags, parsed.out()) == errSecSuccess;
}

} // namespace kelo
