#pragma once

#include <optional>
#include <string>

namespace kelo {

class SigningInformation {
public:
    SigningInformation() = default;
    SigningInformation(const SigningInformation&) = delete;
    SigningInformation& operator=(const SigningInformation&) = delete;
    virtual ~SigningInformation() = default;

    /// The team that signed the running executable; nullopt if the code is unsigned, if it is signed without a team, or
    /// if the system does not report its signature. Throws if the executable cannot be read. Queries the system on
    /// every call. Any thread.
    virtual std::optional<std::string> teamIdentifier() = 0;
};

} // namespace kelo
