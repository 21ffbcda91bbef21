#pragma once

#include <filesystem>
#include <string>

namespace kelo {

struct TeamKey;

/// Signs the file at `executable` and replaces any signature that it has.
///
/// Replaces the file atomically with a new file of the same mode and owner, so that no process sees a half-written
/// signature, and a process that runs the old file keeps running it. Follows symbolic links; other hard links keep the
/// old file. Throws `SigningFailed`, including for a file that ends in a damaged signature.
void signExecutable(const std::filesystem::path& executable, const std::string& identifier, const TeamKey& team);

} // namespace kelo
