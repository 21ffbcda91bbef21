#pragma once

#include <optional>
#include <string>

namespace kelo {

class SigningInformation;

/// Lets helper and client recognise each other by the identifiers in their code signatures and by the team that signed
/// both.
///
/// The team is read from the running process's signature and not written in the source. The same source therefore
/// admits only code signed by the helper's team.
struct SigningIdentity {
    SigningIdentity() = delete;

    static constexpr const char* appIdentifier = "app.kelo.Kelo";
    /// The same text as the name of the service.
    static constexpr const char* helperIdentifier = "app.kelo.helper";

    /// The team in the running process's signature; nullopt if there is no team or it is unknown. Throws the exceptions
    /// of `information`. Queried at every call. Any thread.
    static std::optional<std::string> ownTeamID(SigningInformation& information);

    /// The code-signing requirement that only code with this identifier and team satisfies. Neither argument is checked
    /// or escaped, and neither may contain a double quote or a backslash: the text after it would become part of the
    /// requirement, which might then admit other code instead of failing to parse.
    static std::string requirement(const std::string& identifier, const std::string& team);
};

} // namespace kelo
