#pragma once

#include <optional>
#include <string>

namespace kelo {

class SigningInformation;

/// How helper and client recognise each other: by the identifiers in their code signatures and by the team that signed
/// both.
///
/// The team is read from the running process's own signature rather than written into the program, so the same source
/// admits only code signed by the team that signed the helper.
struct SigningIdentity {
    SigningIdentity() = delete;

    static constexpr const char* appIdentifier = "app.kelo.Kelo";
    /// The same text as the name of the service.
    static constexpr const char* helperIdentifier = "app.kelo.helper";

    /// The team in the running process's signature; none when there is none or it is unknown. Throws what
    /// `information` throws. Queried at every call. Any thread.
    static std::optional<std::string> ownTeamID(SigningInformation& information);

    /// The code-signing requirement that only code with this identifier and team satisfies. Neither is checked or
    /// escaped, and neither may hold a double quote or a backslash: what follows one would be read as part of the
    /// requirement, which may then admit other code instead of failing to parse.
    static std::string requirement(const std::string& identifier, const std::string& team);
};

} // namespace kelo
