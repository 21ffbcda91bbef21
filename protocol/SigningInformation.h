#pragma once

#include <optional>
#include <string>

namespace kelo {

/// What the system knows about the running process's code signature.
class SigningInformation {
public:
    SigningInformation() = default;
    SigningInformation(const SigningInformation&) = delete;
    SigningInformation& operator=(const SigningInformation&) = delete;
    virtual ~SigningInformation() = default;

    /// The team that signed the running executable; none for code that is unsigned or signed without a team, and when
    /// the system gives no answer. Throws when the executable cannot be read. Queried at every call. Any thread.
    virtual std::optional<std::string> teamIdentifier() = 0;
};

} // namespace kelo
