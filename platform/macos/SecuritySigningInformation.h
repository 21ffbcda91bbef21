#pragma once

#include "protocol/SigningInformation.h"

namespace kelo {

/// The running process's signature as the Security framework reports it. The signature itself is not validated here:
/// the kernel does that for code that runs.
class SecuritySigningInformation : public SigningInformation {
public:
    std::optional<std::string> teamIdentifier() override;
};

} // namespace kelo
