#include "platform/linux/hardware/SimulatedMacFolder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "platform/linux/socket/InstallationFolder.h"

namespace kelo {

SimulatedMacFolder::SimulatedMacFolder() : SimulatedMacFolder(openInstallation().get()) {}

SimulatedMacFolder::SimulatedMacFolder(int installation)
    : descriptor_(openat(installation, name, O_PATH | O_DIRECTORY | O_CLOEXEC)) {
    struct stat folder {};
    if (!descriptor_.isValid() || fstat(descriptor_.get(), &folder) != 0)
        problem_ = std::string("the folder simulated-mac cannot be opened: ") + std::strerror(errno);
    else if (geteuid() != 0 && folder.st_uid != geteuid())
        problem_ = "the folder simulated-mac belongs to another user";
    else if ((folder.st_mode & (S_IRWXG | S_IRWXO)) != 0)
        problem_ = "others may enter the folder simulated-mac; \"chmod 700\" keeps them out";
    if (!problem_.empty())
        descriptor_ = {};
}

SimulatedMacFolder SimulatedMacFolder::makeIfMissing() {
    const auto installation = openInstallation();
    mkdirat(installation.get(), name, 0700); // fails if the folder exists
    return SimulatedMacFolder(installation.get());
}

std::optional<std::string> SimulatedMacFolder::lock() {
    if (!descriptor_.isValid())
        return problem_;
    // Locks a file instead of the folder: another user may have opened the folder before it became private.
    lock_ = FileDescriptor(openat(descriptor_.get(), "helper.lock", O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (flock(lock_.get(), LOCK_EX | LOCK_NB) == 0)
        return std::nullopt;
    if (errno == EWOULDBLOCK)
        return "another helper is running in this folder";
    return std::string("helper.lock cannot be locked: ") + std::strerror(errno);
}

} // namespace kelo
