#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>

#include "platform/posix/FileDescriptor.h"

namespace kelo {

/// A new file that replaces its target atomically. It is written next to the target under a temporary name and is
/// removed unless it is committed. All members throw `SigningFailed`.
class ReplacementFile {
public:
    /// Creates an empty file that only its owner can read and write.
    explicit ReplacementFile(std::filesystem::path target);
    ReplacementFile(const ReplacementFile&) = delete;
    ReplacementFile& operator=(const ReplacementFile&) = delete;
    ~ReplacementFile();

    void write(std::span<const std::uint8_t> bytes);

    /// Copies the mode of the open file `other`, and its owner if the caller may change owners.
    void adoptAttributes(int other);
    void setMode(mode_t mode);

    /// Gives the file the target's name. The target need not exist. Must be the last call.
    void commit();

private:
    [[noreturn]] void fail() const;

    const std::filesystem::path target_;
    std::string temporary_; ///< Empty once committed.
    FileDescriptor file_;
};

} // namespace kelo
