#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "platform/linux/signing/SignatureTrailer.h"

namespace kelo {

/// The public key that decides which keys may sign for which team: what the platform vendor's root certificates are on
/// a real Mac. A file has it as 64 hexadecimal digits and a line end.
struct TrustAnchor {
    PublicKey key;

    /// Reads a file without checking who can write to it. Throws `SignatureRefused`.
    static TrustAnchor load(const std::filesystem::path& file);
    /// The same for an open file; `name` is for the message of what is thrown.
    static TrustAnchor read(int file, const std::string& name);
};

/// The trust anchor in an installation's folder: any process that can put a file there decides whom to trust.
///
/// So it counts only when nobody can except root and the effective user of the process: folder and file belong to one
/// of the two, and nobody else may write to them. It is checked and read once, when the object is made: later changes
/// have no effect. Any thread.
class InstalledAnchor {
public:
    /// `folder` is an open folder, O_PATH is enough; -1 when there is none. `name` is the name of a file in it.
    InstalledAnchor(int folder, const std::string& name);

    /// Throws `SignatureRefused` with `refusal` when the anchor is not trusted.
    const TrustAnchor& get() const;

    /// Why the anchor is not trusted, one English sentence; empty when it is.
    const std::string& refusal() const { return refusal_; }

private:
    std::optional<TrustAnchor> anchor_;
    std::string refusal_;
};

} // namespace kelo
