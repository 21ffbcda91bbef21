// The input as a requirement; and its lines as identifier and team that a requirement is put together from.

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
    mustHold(requirement.has_value() == isPlain, "names without double quotes and backslashes parse, others do not");
    if (requirement) {
        mustHold(requirement->isSatisfiedBy({identifier, team}), "what was asked for satisfies");
        mustHold(!requirement->isSatisfiedBy({identifier + "x", team}) &&
                     !requirement->isSatisfiedBy({identifier, team + "x"}),
                 "nothing else does");
    }
    return 0;
}
