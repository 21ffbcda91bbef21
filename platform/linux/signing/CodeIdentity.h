#pragma once

#include <string>

namespace kelo {

/// Who an executable is, as its signature says. Both are opaque bytes, and either may be empty; unless a signature has
/// been verified they are only a claim.
struct CodeIdentity {
    std::string identifier; ///< Chosen freely by the signer.
    std::string team;       ///< Vouched for by the trust anchor.

    bool operator==(const CodeIdentity&) const = default;
};

} // namespace kelo
