#include "platform/linux/signing/SignatureTrailer.h"

#include <sys/stat.h>

#include <algorithm>
#include <span>
#include <string>

#include "platform/linux/signing/FileBlocks.h"
#include "platform/linux/signing/SignatureRefused.h"

namespace kelo {
namespace {

constexpr std::array<std::uint8_t, 8> magic = {0x89, 'K', 'e', 'l', 'o', 'S', 'i', 'g'};
constexpr std::size_t sizeAt = 0;
constexpr std::size_t versionAt = 4;
constexpr std::size_t magicAt = 8;
constexpr auto footerSize = std::tuple_size_v<SignatureTrailer::Footer>;

std::uint32_t littleEndian32(const std::uint8_t* bytes) {
    std::uint32_t value = 0;
    for (int i = 3; i >= 0; --i)
        value = value << 8 | bytes[i];
    return value;
}

void putLittleEndian32(std::uint8_t* bytes, std::uint32_t value) {
    for (int i = 0; i < 4; ++i, value >>= 8)
        bytes[i] = static_cast<std::uint8_t>(value);
}

std::uint64_t sizeOfRegularFile(int file) {
    struct stat status {};
    if (::fstat(file, &status) != 0 || !S_ISREG(status.st_mode) || status.st_size < 0)
        throw SignatureRefused("The executable is not a regular file.");
    return static_cast<std::uint64_t>(status.st_size);
}

void readOrRefuse(int file, std::uint64_t offset, std::span<std::uint8_t> bytes) {
    if (!readExactly(file, offset, bytes))
        throw SignatureRefused("The executable cannot be read.");
}

} // namespace

std::optional<SignatureTrailer> SignatureTrailer::read(int file) {
    const auto fileSize = sizeOfRegularFile(file);
    if (fileSize < footerSize)
        return std::nullopt;
    Footer footer{};
    readOrRefuse(file, fileSize - footerSize, footer);
    if (!std::equal(magic.begin(), magic.end(), footer.begin() + magicAt))
        return std::nullopt;
    const auto version = littleEndian32(&footer[versionAt]);
    if (version != formatVersion)
        throw SignatureRefused("The signature has format version " + std::to_string(version) +
                               ", and only version 1 is known here.");
    const auto messageSize = littleEndian32(&footer[sizeAt]);
    const auto sizeBeforeFooter = fileSize - footerSize;
    if (messageSize == 0 || messageSize > maxMessageSize || messageSize > sizeBeforeFooter)
        throw SignatureRefused("The signature trailer is damaged: its message cannot be " +
                               std::to_string(messageSize) + " bytes long.");
    SignatureTrailer trailer{sizeBeforeFooter - messageSize, std::vector<std::uint8_t>(messageSize)};
    readOrRefuse(file, trailer.contentSize, trailer.message);
    return trailer;
}

SignatureTrailer::Footer SignatureTrailer::makeFooter(std::uint32_t messageSize) {
    Footer footer{};
    putLittleEndian32(&footer[sizeAt], messageSize);
    putLittleEndian32(&footer[versionAt], formatVersion);
    std::copy(magic.begin(), magic.end(), footer.begin() + magicAt);
    return footer;
}

} // namespace kelo
