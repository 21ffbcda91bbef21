#pragma once

#include <string>

namespace kelo {

/// The identity of an executable according to its signature. Both members are opaque bytes and may be empty. Until the
/// signature has been verified, they are only a claim.
struct CodeIdentity {
    std::string identifier; ///< Chosen freely by the signer.
    std::string team;       ///< Certified by the trust anchor.

    bool operator==(const CodeIdentity&) const = default;
};

} // namespace kelo
