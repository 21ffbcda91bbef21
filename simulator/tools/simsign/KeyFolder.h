#pragma once

#include <filesystem>
#include <span>
#include <string>

#include "platform/linux/signing/SignatureTrailer.h"

namespace kelo {

/// An Ed25519 key pair, as libsodium stores it: the seed, then the public key.
struct SigningKey {
    std::array<std::uint8_t, 64> secret;

    static SigningKey make();
    PublicKey publicKey() const;
    Ed25519Signature sign(std::span<const std::uint8_t> message) const;
};

/// A team's key, and the parts of a trailer that are the same for everything it signs: the team, the public key and
/// the anchor's signature over both.
struct TeamKey {
    SigningKey key;
    SignatureTrailer trailer;
};

/// The field for a name. Throws `SigningFailed` for one that a trailer cannot hold; `what` names it in the message.
NameField requireNameField(const char* what, const std::string& name);

/// `key` as a team's key, for which `anchor` vouches. Throws `SigningFailed`.
TeamKey vouchFor(const std::string& team, const SigningKey& key, const SigningKey& anchor);

/// A folder with a development anchor and its teams, in files of hexadecimal digits:
///
///     anchor.pub        the anchor's public key, for everyone who verifies
///     anchor.key        its key pair
///     team-NAME.key     a team's key pair
///
/// The file name of a team whose name is not just letters and digits has a digest of the name instead. Files with
/// private keys are readable by their owner alone. They are meant for simulated Macs, and protected no further. All
/// members throw `SigningFailed`.
class KeyFolder {
public:
    /// Reads nothing yet.
    explicit KeyFolder(std::filesystem::path folder);

    std::filesystem::path anchorFile() const { return folder_ / "anchor.pub"; }
    bool hasAnchor() const;

    /// Makes the folder, if it does not exist, and a new anchor in it. Removes the teams of the previous anchor, which
    /// would no longer be trusted.
    void makeAnchor();

    SigningKey anchor() const;

    /// The team's key; made, and kept for the next time, if the folder has none.
    TeamKey team(const std::string& name);

private:
    std::filesystem::path anchorKeyFile() const { return folder_ / "anchor.key"; }
    std::filesystem::path teamFile(const std::string& name) const;

    const std::filesystem::path folder_;
};

} // namespace kelo
