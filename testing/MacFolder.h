#pragma once

#include <fcntl.h>

#include <filesystem>

#include "platform/posix/FileDescriptor.h"
#include "testing/TemporaryFolder.h"

namespace kelo {

/// A folder for the sockets of a simulated Mac; every user may enter it.
class MacFolder {
public:
    MacFolder() { std::filesystem::permissions(temporary_.path(), std::filesystem::perms(0755)); }

    int descriptor() const { return folder_.get(); }

private:
    TemporaryFolder temporary_;
    FileDescriptor folder_{open(temporary_.path().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)};
};

} // namespace kelo
