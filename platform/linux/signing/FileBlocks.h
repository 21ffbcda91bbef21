#pragma once

#include <cstdint>
#include <functional>
#include <span>

namespace kelo {

/// Fills `bytes` from `offset` of the file. False when the file ends before or cannot be read.
bool readExactly(int file, std::uint64_t offset, std::span<std::uint8_t> bytes);

/// Hands the file's first `length` bytes to `onBlock`, in order, in blocks of at most 16 KiB from one buffer. False
/// when the file ends before or cannot be read; the blocks up to there have been handed over then.
///
/// The file is read, not mapped: memory does not grow with the file, and truncating a mapped file would kill the
/// process that reads it.
bool forEachBlock(int file, std::uint64_t length, const std::function<void(std::span<const std::uint8_t>)>& onBlock);

} // namespace kelo
