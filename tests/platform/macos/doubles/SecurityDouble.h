#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <functional>
#include <optional>
#include <string>

namespace kelo::doubles {

/// The signature of the running process, as a test sets it.
struct OwnSignature {
    std::optional<std::string> team; ///< None: unsigned, or signed without a team.
    /// Replaces the team's string; the dictionary owns what it returns.
    std::function<CFTypeRef()> teamValue;

    OSStatus selfStatus = 0;
    bool isSelfMissing = false; ///< Success, but no object.
    OSStatus staticCodeStatus = 0;
    bool isStaticCodeMissing = false;
    OSStatus informationStatus = 0;
    /// Replaces the dictionary; the caller owns what it returns.
    std::function<CFTypeRef()> information;
};

OwnSignature& ownSignature();

/// Whether `text` is a requirement, as far as the double understands the language.
bool isRequirement(const std::string& text);

void resetSecurity();

} // namespace kelo::doubles
