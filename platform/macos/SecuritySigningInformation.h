#pragma once

#include "protocol/SigningInformation.h"

namespace kelo {

/// Reads the signature of the running process from the Security framework. Does not validate the signature, since the
/// kernel validates running code.
class SecuritySigningInformation : public SigningInformation {
public:
    std::optional<std::string> teamIdentifier() override;
};

} // namespace kelo
