#pragma once

#include <filesystem>
#include <string>

namespace kelo {

struct TeamKey;

/// Signs the file at `executable`, replacing the signature that it may carry.
///
/// The file is replaced as a whole by one of the same mode and owner, or left as it is: a half-written signature is
/// never visible, and a process that runs it goes on with the old one. A symbolic link is followed; other hard links
/// keep the old file. Throws `SigningFailed`, also when the file ends in a damaged signature.
void signExecutable(const std::filesystem::path& executable, const std::string& identifier, const TeamKey& team);

} // namespace kelo
