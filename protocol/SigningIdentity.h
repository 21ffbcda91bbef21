#pragma once

#include <optional>
#include <string>

namespace kelo {

class SigningInformation;

/// Lets the helper and the client recognise each other by the identifiers in their code signatures and by the team that
/// signed both.
///
/// The team is read from the running process's signature and is not part of the source. A helper built from the same
/// source by another team therefore admits only clients signed by that team.
struct SigningIdentity {
    SigningIdentity() = delete;

    static constexpr const char* appIdentifier = "app.kelo.Kelo";
    /// The helper's code-signing identifier. Its Mach service has the same name.
    static constexpr const char* helperIdentifier = "app.kelo.helper";

    /// The team in the running process's signature; nullopt if there is no team or it is unknown. Passes on the
    /// exceptions of `information`. Queries the system on every call. Any thread.
    static std::optional<std::string> ownTeamID(SigningInformation& information);

    /// The code-signing requirement that only code with this identifier and team satisfies. Neither argument is checked
    /// or escaped, and neither may contain a double quote or a backslash: the text after such a character would become
    /// part of the requirement. The requirement might then admit other code instead of failing to parse.
    static std::string requirement(const std::string& identifier, const std::string& team);
};

} // namespace kelo
