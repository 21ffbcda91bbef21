#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace kelo {

/// Where a signature stands in a file: behind the content, where the loader of executables never looks.
///
///     content           what is signed
///     message           the signed message, CMS in DER
///     message's size    4 bytes, little-endian
///     format version    4 bytes, little-endian: 1
///     magic             8 bytes: 0x89 "KeloSig"
struct SignatureTrailer {
    using Footer = std::array<std::uint8_t, 16>;

    /// No honest message comes near; bounds what a hostile one can make a verifier allocate.
    static constexpr std::size_t maxMessageSize = std::size_t{64} * 1024;
    static constexpr std::uint32_t formatVersion = 1;

    std::uint64_t contentSize = 0; ///< Bytes before the trailer.
    std::vector<std::uint8_t> message;

    /// The trailer of an open file, whatever its file offset; none when the file does not end in the magic. Throws
    /// `SignatureRefused` when the file is not a regular one or cannot be read, when the version is unknown, and when
    /// the sizes cannot be.
    static std::optional<SignatureTrailer> read(int file);

    /// `messageSize` is 1 to `maxMessageSize`.
    static Footer makeFooter(std::uint32_t messageSize);
};

} // namespace kelo
