#pragma once

#include <string>

namespace kelo {

/// Who an executable is, as its signature says. Both are bytes without meaning to this system, either may be empty;
/// only a signature that has been verified makes them more than a claim.
struct CodeIdentity {
    std::string identifier; ///< Chosen freely by the signer.
    std::string team;       ///< Vouched for by the trust anchor.

    bool operator==(const CodeIdentity&) const = default;
};

} // namespace kelo
