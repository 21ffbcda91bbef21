#pragma once

#include <sys/stat.h>

#include <optional>

#include "core/watch/FileEvents.h"

namespace kelo {

inline FileIdentity identityOf(const struct stat& status) {
    return {static_cast<std::int32_t>(status.st_dev), status.st_ino};
}

/// The identity of the file at `path`, following symbolic links; nullopt if there is no such file. A file whose last
/// link has just been removed may still be found at its path; such a file counts as missing.
inline std::optional<FileIdentity> identityAt(const char* path) {
    struct stat status = {};
    if (stat(path, &status) != 0 || status.st_nlink == 0)
        return std::nullopt;
    return identityOf(status);
}

} // namespace kelo
