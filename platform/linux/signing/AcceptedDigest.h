#pragma once

#include <openssl/objects.h>

namespace kelo {

/// Whether a signature over a digest of this kind (OpenSSL's NID) counts. The others are broken, or not needed here.
constexpr bool isAcceptedDigest(int kind) { return kind == NID_sha256 || kind == NID_sha384 || kind == NID_sha512; }

} // namespace kelo
