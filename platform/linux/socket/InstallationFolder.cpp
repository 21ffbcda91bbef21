#include "platform/linux/socket/InstallationFolder.h"

#include <fcntl.h>
#include <linux/limits.h>

namespace kelo {
namespace {

/// Returns the path of the executable's folder with a final slash, or an empty string if the system does not report it.
std::string installationPath() {
    char path[PATH_MAX];
    const auto length = readlink("/proc/self/exe", path, sizeof path);
    // Also works for a deleted executable: only the last part of its path is wrong.
    const std::string executable(path, length > 0 ? static_cast<std::size_t>(length) : 0);
    return executable.substr(0, executable.rfind('/') + 1);
}

} // namespace

FileDescriptor openInstallation() {
    return FileDescriptor(open(installationPath().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
}

} // namespace kelo
