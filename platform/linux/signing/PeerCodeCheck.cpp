#include "platform/linux/signing/PeerCodeCheck.h"

#include "platform/linux/signing/CodeRequirement.h"
#include "platform/linux/signing/CodeSignature.h"
#include "platform/linux/signing/PeerProcess.h"
#include "platform/linux/signing/SignatureRefused.h"

namespace kelo {

std::optional<std::string> PeerCodeCheck::check(int socket, const std::string& requirement) const {
    try {
        return check(PeerProcess::ofSocket(socket), requirement);
    } catch (const SignatureRefused& refused) {
        return refused.what();
    }
}

std::optional<std::string> PeerCodeCheck::check(const PeerProcess& peer, const std::string& requirement) const {
    const auto required = CodeRequirement::parse(requirement);
    if (!required)
        return "The requirement does not parse, so no peer satisfies it.";
    try {
        const auto executable = peer.openExecutable();
        auto verdict = verifyCodeSignature(executable.get(), anchor_.get());
        if (!verdict.identity)
            return std::move(verdict.reason);
        if (!required->isSatisfiedBy(*verdict.identity))
            return "The peer is \"" + verdict.identity->identifier + "\" of team \"" + verdict.identity->team +
                   "\", which does not satisfy the requirement.";
        return std::nullopt;
    } catch (const SignatureRefused& refused) {
        return refused.what();
    }
}

} // namespace kelo
