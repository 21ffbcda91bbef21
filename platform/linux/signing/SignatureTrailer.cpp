#include "platform/linux/signing/SignatureTrailer.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "platform/linux/signing/SignatureRefused.h"

namespace kelo {
namespace {

constexpr std::array<std::uint8_t, 8> magic = {0x89, 'K', 'e', 'l', 'o', 'S', 'i', 'g'};
constexpr std::uint32_t currentVersion = 2;

// The first bytes of the two kinds of signed message. They differ and have equal size, so that no message of one kind
// is valid as the other kind. They contain the format version, so that a signature is valid in one format only.
constexpr std::string_view teamContext("kelo team 2\0", 12);
constexpr std::string_view codeContext("kelo code 2\0", 12);

std::vector<std::uint8_t> messageOf(std::string_view context, std::span<const std::uint8_t> signedBytes) {
    std::vector<std::uint8_t> message(context.begin(), context.end());
    message.insert(message.end(), signedBytes.begin(), signedBytes.end());
    return message;
}

void readOrRefuse(int file, std::uint64_t offset, std::span<std::uint8_t> bytes) {
    if (!readExactly(file, offset, bytes))
        throw SignatureRefused("The executable cannot be read.");
}

bool isPrintable(char c) { return c >= ' ' && c <= '~'; }

bool isWellFormed(const NameField& field) { return NameField::of(field.name()) == field; }

} // namespace

std::optional<NameField> NameField::of(std::string_view name) {
    NameField field{};
    if (name.size() > field.text.size() || !std::all_of(name.begin(), name.end(), isPrintable))
        return std::nullopt;
    field.size = static_cast<std::uint8_t>(name.size());
    std::copy(name.begin(), name.end(), field.text.begin());
    return field;
}

SignatureTrailer SignatureTrailer::empty() {
    SignatureTrailer trailer{};
    trailer.version = std::bit_cast<decltype(trailer.version)>(currentVersion);
    trailer.magic = kelo::magic;
    return trailer;
}

std::optional<SignatureTrailer> SignatureTrailer::read(int file, std::uint64_t fileSize) {
    std::array<std::uint8_t, sizeof version + sizeof magic> end{};
    if (fileSize < end.size())
        return std::nullopt;
    readOrRefuse(file, fileSize - end.size(), end);
    if (!std::equal(kelo::magic.begin(), kelo::magic.end(), end.begin() + sizeof version))
        return std::nullopt;
    std::uint32_t found = 0;
    std::memcpy(&found, end.data(), sizeof found);
    if (found != currentVersion)
        throw SignatureRefused("The signature has format version " + std::to_string(found) + ", but only version " +
                               std::to_string(currentVersion) + " is supported.");
    if (fileSize < sizeof(SignatureTrailer))
        throw SignatureRefused("The signature trailer is damaged: it is cut short.");
    SignatureTrailer trailer{};
    readOrRefuse(file, fileSize - sizeof trailer, {reinterpret_cast<std::uint8_t*>(&trailer), sizeof trailer});
    if (!isWellFormed(trailer.team) || !isWellFormed(trailer.identifier))
        throw SignatureRefused("The signature trailer is damaged: a name in it is not printable text.");
    return trailer;
}

SignatureTrailer SignatureTrailer::require(int file, std::uint64_t fileSize) {
    const auto trailer = read(file, fileSize);
    if (!trailer)
        throw SignatureRefused("The executable is not signed.");
    return *trailer;
}

std::vector<std::uint8_t> SignatureTrailer::teamMessage() const {
    return messageOf(teamContext, bytes().first(offsetof(SignatureTrailer, anchorSignature)));
}

std::vector<std::uint8_t> SignatureTrailer::codeMessage() const {
    return messageOf(codeContext, bytes().first(offsetof(SignatureTrailer, teamSignature)));
}

std::uint64_t fileSizeOf(int file) {
    struct stat status {};
    if (::fstat(file, &status) != 0 || !S_ISREG(status.st_mode) || status.st_size < 0)
        throw SignatureRefused("The executable is not a regular file.");
    return static_cast<std::uint64_t>(status.st_size);
}

bool readExactly(int file, std::uint64_t offset, std::span<std::uint8_t> bytes) {
    while (!bytes.empty()) {
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

} // namespace kelo
