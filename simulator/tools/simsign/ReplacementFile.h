#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>

#include "platform/posix/FileDescriptor.h"

namespace kelo {

/// A new file that replaces another one atomically. It is written beside its target under a temporary name and is
/// removed unless it is committed. All members throw `SigningFailed`.
class ReplacementFile {
public:
    /// Begins empty, readable and writable by its owner alone.
    explicit ReplacementFile(std::filesystem::path target);
    ReplacementFile(const ReplacementFile&) = delete;
    ReplacementFile& operator=(const ReplacementFile&) = delete;
    ~ReplacementFile();

    void write(std::span<const std::uint8_t> bytes);

    /// Takes over mode and owner of the open file `other`; the owner only as far as the caller may give files away.
    void adoptAttributes(int other);
    void setMode(mode_t mode);

    /// Puts the file in the target's place, or in its empty place. To be called once, last.
    void commit();

private:
    [[noreturn]] void fail() const;

    const std::filesystem::path target_;
    std::string temporary_; ///< Empty once committed.
    FileDescriptor file_;
};

} // namespace kelo
