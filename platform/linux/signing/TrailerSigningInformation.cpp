#include "platform/linux/signing/TrailerSigningInformation.h"

#include <fcntl.h>

#include "platform/linux/signing/SignatureRefused.h"
#include "platform/linux/signing/SignatureTrailer.h"
#include "platform/posix/Errno.h"
#include "platform/posix/FileDescriptor.h"

namespace kelo {
namespace {

std::string requireTeam() {
    const FileDescriptor executable(::open("/proc/self/exe", O_RDONLY | O_CLOEXEC));
    if (!executable.isValid())
        throwErrno("the executable cannot be opened");
    std::string team(SignatureTrailer::require(executable.get(), fileSizeOf(executable.get())).team.name());
    if (team.empty())
        throw SignatureRefused("The executable's signature names no team.");
    return team;
}

} // namespace

std::optional<std::string> TrailerSigningInformation::teamIdentifier() {
    try {
        return requireTeam();
    } catch (const SignatureRefused& refused) {
        onRefused_(refused.what());
        return std::nullopt;
    }
}

} // namespace kelo
