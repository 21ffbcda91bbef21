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

    /// nullopt for a name that is too long, or that has anything but printable ASCII characters: names are logged, and
    /// must not break or reverse a line.
    static std::optional<NameField> of(std::string_view name);

    std::string_view name() const { return {text.data(), size}; }

    bool operator==(const NameField&) const = default;
};

/// The signature at the end of an executable, as its bytes are in the file. docs/signatures.md describes the layout and
/// the two signed messages.
struct SignatureTrailer {
    NameField team;
    PublicKey teamKey;
    Ed25519Signature anchorSignature; ///< The anchor's, over `teamMessage`.
    NameField identifier;
    std::array<std::uint8_t, 8> contentSize; ///< Little-endian.
    ContentDigest contentDigest;
    Ed25519Signature teamSignature; ///< The team key's, over `codeMessage`.
    std::array<std::uint8_t, 4> version;
    std::array<std::uint8_t, 8> magic;

    /// A trailer with the current version and the magic; everything else is zero.
    static SignatureTrailer empty();

    /// The trailer of an open file of `fileSize` bytes; nullopt when the file does not end in the magic. Verifies
    /// nothing. Throws `SignatureRefused` when the file cannot be read, or when the trailer has another version, is cut
    /// short or has a name that `NameField::of` refuses. Does not move the file's offset.
    static std::optional<SignatureTrailer> read(int file, std::uint64_t fileSize);
    /// Also throws `SignatureRefused` when the file does not end in the magic.
    static SignatureTrailer require(int file, std::uint64_t fileSize);

    std::vector<std::uint8_t> teamMessage() const;
    std::vector<std::uint8_t> codeMessage() const;
    std::span<const std::uint8_t> bytes() const { return {reinterpret_cast<const std::uint8_t*>(this), sizeof *this}; }
};

static_assert(sizeof(SignatureTrailer) == 724 && alignof(SignatureTrailer) == 1);

static_assert(std::endian::native == std::endian::little, "numbers are written as they are in memory");

/// Throws `SignatureRefused` unless the file is a regular file.
std::uint64_t fileSizeOf(int file);

/// Fills `bytes` from `offset` of the file. False when the file ends before or cannot be read.
bool readExactly(int file, std::uint64_t offset, std::span<std::uint8_t> bytes);

} // namespace kelo
