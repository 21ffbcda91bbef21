#include "platform/linux/signing/TrailerSigningInformation.h"

#include <fcntl.h>

#include "platform/linux/signing/CodeSignature.h"
#include "platform/posix/FileDescriptor.h"

namespace kelo {

std::optional<std::string> TrailerSigningInformation::teamIdentifier() {
    const FileDescriptor executable(::open("/proc/self/exe", O_RDONLY | O_CLOEXEC));
    if (!executable.isValid())
        return std::nullopt;
    auto verdict = verifyCodeSignature(executable.get(), anchorFile_);
    if (!verdict.identity || verdict.identity->team.empty())
        return std::nullopt;
    return std::move(verdict.identity->team);
}

} // namespace kelo
