#pragma once

#include "protocol/SigningInformation.h"

namespace kelo {

/// The running process's signature as the Security framework reports it. Does not validate the signature: the kernel
/// does that for running code.
class SecuritySigningInformation : public SigningInformation {
public:
    std::optional<std::string> teamIdentifier() override;
};

} // namespace kelo
