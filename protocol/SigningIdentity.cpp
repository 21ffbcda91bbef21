#include "protocol/SigningIdentity.h"

#include <string_view>

#include "protocol/KeloHelper.h"
#include "protocol/SigningInformation.h"

namespace kelo {

static_assert(std::string_view(SigningIdentity::helperIdentifier) == KeloHelper::machServiceName);

std::optional<std::string> SigningIdentity::ownTeamID(SigningInformation& information) {
    return information.teamIdentifier();
}

std::string SigningIdentity::requirement(const std::string& identifier, const std::string& team) {
    return "anchor apple generic and identifier \"" + identifier + "\" and certificate leaf[subject.OU] = \"" + team +
           "\"";
}

} // namespace kelo
