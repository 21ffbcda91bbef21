#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "platform/linux/signing/OpenSSLHandles.h"

namespace kelo {

/// A SHA-256 digest, computed step by step.
class ContentDigest {
public:
    ContentDigest();

    void add(std::span<const std::uint8_t> bytes);

    /// The digest of all that was added, as 64 lower-case hexadecimal digits. To be called once, last.
    std::string hex();

private:
    DigestHandle context_;
};

} // namespace kelo
