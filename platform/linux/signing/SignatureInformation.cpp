#include "platform/linux/signing/SignatureInformation.h"

#include <fcntl.h>

#include "platform/linux/FileDescriptor.h"
#include "platform/linux/signing/CodeSignature.h"

namespace kelo {

std::optional<std::string> SignatureInformation::teamIdentifier() {
    const FileDescriptor executable(::open("/proc/self/exe", O_RDONLY | O_CLOEXEC));
    if (!executable.isValid())
        return std::nullopt;
    auto verdict = verifyCodeSignature(executable.get(), anchorFile_);
    if (!verdict.identity || verdict.identity->team.empty())
        return std::nullopt;
    return std::move(verdict.identity->team);
}

} // namespace kelo
