#include "platform/linux/signing/FileBlocks.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <vector>

namespace kelo {

bool readExactly(int file, std::uint64_t offset, std::span<std::uint8_t> bytes) {
    while (!bytes.empty()) {
        if (offset > static_cast<std::uint64_t>(std::numeric_limits<off_t>::max()))
            return false;
        const auto count = ::pread(file, bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return false;
        bytes = bytes.subspan(static_cast<std::size_t>(count));
        offset += static_cast<std::uint64_t>(count);
    }
    return true;
}

bool forEachBlock(int file, std::uint64_t length, const std::function<void(std::span<const std::uint8_t>)>& onBlock) {
    constexpr auto blockSize = std::uint64_t{16} * 1024;
    std::vector<std::uint8_t> buffer(std::min(blockSize, length));
    for (std::uint64_t offset = 0; offset < length;) {
        const auto block = std::span(buffer).first(std::min<std::uint64_t>(buffer.size(), length - offset));
        if (!readExactly(file, offset, block))
            return false;
        onBlock(block);
        offset += block.size();
    }
    return true;
}

} // namespace kelo
