#include "platform/linux/socket/SimulatedMacFolder.h"

#include <fcntl.h>
#include <linux/limits.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>

namespace kelo {
namespace {

/// Works for a deleted executable, too: only the last part of its path is wrong then.
std::string folderOfExecutable() {
    char path[PATH_MAX];
    const auto length = readlink("/proc/self/exe", path, sizeof path);
    const std::string executable(path, length > 0 ? static_cast<std::size_t>(length) : 0);
    return executable.substr(0, executable.rfind('/') + 1);
}

} // namespace

SimulatedMacFolder::SimulatedMacFolder() : SimulatedMacFolder(folderOfExecutable() + name) {}

SimulatedMacFolder::SimulatedMacFolder(const std::string& path)
    : descriptor_(open(path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)) {}

SimulatedMacFolder SimulatedMacFolder::makeIfMissing() {
    const auto path = folderOfExecutable() + name;
    mkdir(path.c_str(), 0755); // fails when it is there
    return SimulatedMacFolder(path);
}

bool SimulatedMacFolder::claim() {
    claim_ = FileDescriptor(openat(descriptor_.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return flock(claim_.get(), LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK;
}

bool SimulatedMacFolder::isOwnedByUs() const {
    struct stat folder {};
    return geteuid() == 0 || (fstat(descriptor_.get(), &folder) == 0 && folder.st_uid == geteuid());
}

} // namespace kelo
