#include "platform/linux/signing/TrailerSigningInformation.h"

#include <fcntl.h>

#include "platform/linux/signing/CodeSignature.h"
#include "platform/linux/signing/SignatureRefused.h"
#include "platform/posix/Errno.h"
#include "platform/posix/FileDescriptor.h"

namespace kelo {

std::optional<std::string> TrailerSigningInformation::teamIdentifier() {
    try {
        return requireTeam();
    } catch (const SignatureRefused& refused) {
        onRefused_(refused.what());
        return std::nullopt;
    }
}

std::string TrailerSigningInformation::requireTeam() const {
    const FileDescriptor executable(::open("/proc/self/exe", O_RDONLY | O_CLOEXEC));
    if (!executable.isValid())
        throwErrno("the executable cannot be opened");
    auto verdict = verifyCodeSignature(executable.get(), anchor_.get());
    if (!verdict.identity)
        throw SignatureRefused(verdict.reason);
    if (verdict.identity->team.empty())
        throw SignatureRefused("The executable is signed by no team.");
    return std::move(verdict.identity->team);
}

} // namespace kelo
