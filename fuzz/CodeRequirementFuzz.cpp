// Parses the input as a requirement. Also composes a requirement from the input: the first line is the identifier, the
// rest the team.

#include <algorithm>
#include <string>

#include "fuzz/FuzzTarget.h"
#include "platform/linux/signing/CodeIdentity.h"
#include "platform/linux/signing/CodeRequirement.h"
#include "protocol/SigningIdentity.h"

using kelo::CodeRequirement;
using kelo::mustHold;

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    CodeRequirement::parse(text);

    const auto lineEnd = std::min(text.find('\n'), text.size());
    const auto identifier = text.substr(0, lineEnd);
    const auto team = text.substr(std::min(lineEnd + 1, text.size()));
    const auto requirement = CodeRequirement::parse(kelo::SigningIdentity::requirement(identifier, team));
    const bool isPlain = (identifier + team).find_first_of("\"\\") == std::string::npos;
    mustHold(requirement.has_value() == isPlain, "names parse if they have no double quotes or backslashes");
    if (requirement) {
        mustHold(requirement->isSatisfiedBy({identifier, team}), "the required names satisfy it");
        mustHold(!requirement->isSatisfiedBy({identifier + "x", team}) &&
                     !requirement->isSatisfiedBy({identifier, team + "x"}),
                 "other names do not satisfy it");
    }
    return 0;
}
