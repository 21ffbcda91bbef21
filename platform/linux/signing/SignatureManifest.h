#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/linux/signing/CodeIdentity.h"

namespace kelo {

/// What a signer signs: the identity, bound to the content it speaks for.
///
/// As text, so that a person can read it out of the message with OpenSSL's own tool; one line each, in this order:
///
///     kelo code signature 1
///     identifier app.kelo.helper
///     team KELODEV001
///     length 123456
///     sha256 64 lower-case hexadecimal digits
struct SignatureManifest {
    static constexpr std::size_t maxNameSize = 255; ///< Bytes of identifier and of team.

    CodeIdentity identity;
    std::uint64_t length = 0; ///< Bytes of the content.
    std::string sha256;       ///< Of the content.

    /// Whether `name` can stand as identifier or team: not too long, and UTF-8 without control characters and
    /// marks of direction, which could end a line of a log or turn it around. Everything else may, double quotes and
    /// blanks included, and nothing at all.
    static bool isValidName(std::string_view name);

    /// Both names must be valid.
    std::string text() const;

    /// None for everything that `text()` does not make, down to the last byte: one manifest has one form.
    static std::optional<SignatureManifest> parse(std::string_view text);
};

} // namespace kelo
