#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <functional>
#include <optional>
#include <string>

namespace kelo::doubles {

/// The running process's signature, set by tests.
struct OwnSignature {
    std::optional<std::string> team; ///< Nullopt if unsigned, or signed without a team.
    /// If set, replaces the team's string. The dictionary owns the result.
    std::function<CFTypeRef()> teamValue;

    OSStatus selfStatus = 0;
    bool isSelfMissing = false; ///< Returns success without an object.
    OSStatus staticCodeStatus = 0;
    bool isStaticCodeMissing = false;
    OSStatus informationStatus = 0;
    /// If set, replaces the dictionary. The caller owns the result.
    std::function<CFTypeRef()> information;
};

OwnSignature& ownSignature();

/// Whether `text` is a well-formed requirement. The double parses only a part of the language.
bool isRequirement(const std::string& text);

void resetSecurity();

} // namespace kelo::doubles
