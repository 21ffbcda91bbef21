#include "tests/platform/macos/doubles/SecurityDouble.h"

#include <Security/Security.h>

#include <algorithm>
#include <map>

#include "tests/platform/macos/doubles/CoreFoundationDouble.h"
#include "tests/platform/macos/doubles/Journal.h"

namespace kelo::doubles {

namespace {

OwnSignature theSignature;

std::string flagsText(SecCSFlags flags) { return " flags " + std::to_string(flags); }

CFTypeRef makeInformation(SecCSFlags flags) {
    if (theSignature.information)
        return theSignature.information();
    std::map<std::string, CFTypeRef> entries = {{"identifier", makeCFString("app.kelo.helper")}};
    if ((flags & kSecCSSigningInformation) != 0) {
        if (theSignature.teamValue)
            entries["teamid"] = theSignature.teamValue();
        else if (theSignature.team)
            entries["teamid"] = makeCFString(*theSignature.team);
    }
    return makeCFDictionary(entries);
}

} // namespace

OwnSignature& ownSignature() { return theSignature; }

bool isRequirement(const std::string& text) {
    return text.starts_with("anchor ") && std::count(text.begin(), text.end(), '"') % 2 == 0;
}

void resetSecurity() { theSignature = OwnSignature(); }

} // namespace kelo::doubles

using namespace kelo::doubles;

extern "C" {

const CFStringRef kSecCodeInfoTeamIdentifier = [] { return CFSTR("teamid"); }();

OSStatus SecCodeCopySelf(SecCSFlags flags, SecCodeRef* self) {
    journal().add("SecCodeCopySelf" + flagsText(flags));
    if (ownSignature().selfStatus == errSecSuccess && !ownSignature().isSelfMissing)
        *self = static_cast<SecCodeRef>(const_cast<void*>(makeCF(CFKind::code)));
    return ownSignature().selfStatus;
}

OSStatus SecCodeCopyStaticCode(SecCodeRef code, SecCSFlags flags, SecStaticCodeRef* staticCode) {
    journal().add("SecCodeCopyStaticCode" + flagsText(flags));
    if (!isCF(code, CFKind::code))
        journal().misuse("SecCodeCopyStaticCode of an object that is not code");
    if (ownSignature().staticCodeStatus == errSecSuccess && !ownSignature().isStaticCodeMissing)
        *staticCode = static_cast<SecStaticCodeRef>(makeCF(CFKind::staticCode));
    return ownSignature().staticCodeStatus;
}

OSStatus SecCodeCopySigningInformation(SecStaticCodeRef code, SecCSFlags flags, CFDictionaryRef* information) {
    journal().add("SecCodeCopySigningInformation" + flagsText(flags));
    if (!isCF(code, CFKind::staticCode))
        journal().misuse("SecCodeCopySigningInformation of an object that is not static code");
    if (ownSignature().informationStatus == errSecSuccess)
        *information = static_cast<CFDictionaryRef>(makeInformation(flags));
    return ownSignature().informationStatus;
}

OSStatus SecRequirementCreateWithString(CFStringRef text, SecCSFlags flags, SecRequirementRef* requirement) {
    journal().add("SecRequirementCreateWithString " + cfText(text) + flagsText(flags));
    if (!isRequirement(cfText(text)))
        return errSecCSReqInvalid;
    *requirement = static_cast<SecRequirementRef>(const_cast<void*>(makeCF(CFKind::requirement)));
    return errSecSuccess;
}

} // extern "C"
