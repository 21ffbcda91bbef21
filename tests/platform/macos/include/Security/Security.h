#pragma once

// Source: V (Security, OSX/libsecurity_codesigning/lib: SecCode.h, SecCode.cpp, CSCommon.h, SecRequirement.h).

#include <CoreFoundation/CoreFoundation.h>
#include <stdint.h>

#pragma clang assume_nonnull begin

#ifdef __cplusplus
extern "C" {
#endif

typedef struct __SecCode* SecCodeRef;
typedef struct __SecCode const* SecStaticCodeRef;
typedef struct __SecRequirement* SecRequirementRef;
typedef uint32_t SecCSFlags;

static const SecCSFlags kSecCSDefaultFlags = 0;
static const SecCSFlags kSecCSSigningInformation = 2; // required for the team

static const OSStatus errSecSuccess = 0;
static const OSStatus errSecCSReqInvalid = -67052;
static const OSStatus errSecCSUnsigned = -67062;
static const OSStatus errSecCSStaticCodeNotFound = -67068;

extern const CFStringRef kSecCodeInfoTeamIdentifier; // "teamid"; a CFString; absent without a team

OSStatus SecCodeCopySelf(SecCSFlags flags, SecCodeRef _Nullable* _Nonnull self); // copy
OSStatus SecCodeCopyStaticCode(SecCodeRef code, SecCSFlags flags,
                               SecStaticCodeRef _Nullable* _Nonnull staticCode); // copy
OSStatus SecCodeCopySigningInformation(SecStaticCodeRef code, SecCSFlags flags,
                                       CFDictionaryRef _Nullable* _Nonnull information); // copy
OSStatus SecRequirementCreateWithString(CFStringRef text, SecCSFlags flags,
                                        SecRequirementRef _Nullable* _Nonnull requirement); // copy

#ifdef __cplusplus
}
#endif

#pragma clang assume_nonnull end
