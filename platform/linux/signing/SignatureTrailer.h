#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kelo {

using PublicKey = std::array<std::uint8_t, 32>;        ///< Ed25519.
using Ed25519Signature = std::array<std::uint8_t, 64>; ///< Detached.
using ContentDigest = std::array<std::uint8_t, 32>;    ///< BLAKE2b-256.

/// A name of at most 255 bytes in a field of fixed size; the rest of the field is zero.
struct NameField {
    std::uint8_t size;
    std::array<char, 255> text;

    /// Returns nullopt if the name is too long or contains a character that is not printable ASCII: names are logged,
    /// and must not break or reverse a log line.
    static std::optional<NameField> of(std::string_view name);

    std::string_view name() const { return {text.data(), size}; }

    bool operator==(const NameField&) const = default;
};

/// The signature at the end of an executable, exactly as it is stored. docs/signatures.md describes the layout and the
/// two signed messages.
struct SignatureTrailer {
    NameField team;
    PublicKey teamKey;
    Ed25519Signature anchorSignature; ///< The anchor's signature over `teamMessage`.
    NameField identifier;
    std::array<std::uint8_t, 8> contentSize; ///< Little-endian.
    ContentDigest contentDigest;
    Ed25519Signature teamSignature; ///< The team key's signature over `codeMessage`.
    std::array<std::uint8_t, 4> version;
    std::array<std::uint8_t, 8> magic;

    /// Returns a trailer with the current version and the magic; everything else is zero.
    static SignatureTrailer empty();

    /// Reads the trailer of an open file of `fileSize` bytes. Returns nullopt if the file does not end in the magic.
    /// Verifies nothing. Throws `SignatureRefused` if the file cannot be read, or if the trailer has a different
    /// version, is cut short or has a name that `NameField::of` rejects. Does not move the file offset.
    static std::optional<SignatureTrailer> read(int file, std::uint64_t fileSize);
    /// Like `read`, but also throws `SignatureRefused` if the file does not end in the magic.
    static SignatureTrailer require(int file, std::uint64_t fileSize);

    std::vector<std::uint8_t> teamMessage() const;
    std::vector<std::uint8_t> codeMessage() const;
    std::span<const std::uint8_t> bytes() const { return {reinterpret_cast<const std::uint8_t*>(this), sizeof *this}; }
};

static_assert(sizeof(SignatureTrailer) == 724 && alignof(SignatureTrailer) == 1);

static_assert(std::endian::native == std::endian::little, "numbers are written as they are in memory");

/// Returns the size of the file. Throws `SignatureRefused` unless it is a regular file.
std::uint64_t fileSizeOf(int file);

/// Fills `bytes` from the file, starting at `offset`. Returns false if the file is too short or cannot be read.
bool readExactly(int file, std::uint64_t offset, std::span<std::uint8_t> bytes);

} // namespace kelo
