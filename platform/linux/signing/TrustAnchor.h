#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "platform/linux/signing/SignatureTrailer.h"

namespace kelo {

/// The public key that decides which keys may sign for which team, like the platform vendor's root certificates on a
/// real Mac. Its file contains 64 hexadecimal digits and a line end.
struct TrustAnchor {
    PublicKey key;

    /// Reads the anchor from a file without checking who can write to it. Throws `SignatureRefused`.
    static TrustAnchor load(const std::filesystem::path& file);
    /// Reads the anchor from an open file; `name` is used in the error message.
    static TrustAnchor read(int file, const std::string& name);
};

/// The trust anchor in an installation's folder. Any process that can write to that folder decides which signers are
/// trusted.
///
/// So the anchor is trusted only if the folder and the file belong to root or the effective user of the process, and no
/// other user may write to them. The constructor checks and reads the anchor; later changes have no effect. Any thread.
class InstalledAnchor {
public:
    /// `folder` is an open folder (O_PATH is enough), or -1 if there is none. `name` is the name of a file in it.
    InstalledAnchor(int folder, const std::string& name);

    /// Throws `SignatureRefused` with `refusal` if the anchor is not trusted.
    const TrustAnchor& get() const;

    /// The reason why the anchor is not trusted, as one English sentence; empty if the anchor is trusted.
    const std::string& refusal() const { return refusal_; }

private:
    std::optional<TrustAnchor> anchor_;
    std::string refusal_;
};

} // namespace kelo
