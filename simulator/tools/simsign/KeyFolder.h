#pragma once

#include <filesystem>
#include <span>
#include <string>

#include "platform/linux/signing/SignatureTrailer.h"

namespace kelo {

/// An Ed25519 key pair in libsodium's format: the seed, then the public key.
struct SigningKey {
    std::array<std::uint8_t, 64> secret;

    static SigningKey make();
    PublicKey publicKey() const;
    Ed25519Signature sign(std::span<const std::uint8_t> message) const;
};

/// A team's key, and the parts of a trailer that are the same in everything it signs: the team, the public key and the
/// anchor's signature over both.
struct TeamKey {
    SigningKey key;
    SignatureTrailer trailer;
};

/// Returns the trailer field that contains `name`. Throws `SigningFailed` if the name does not fit; `what` describes
/// the name in the message.
NameField requireNameField(const char* what, const std::string& name);

/// Makes `key` a team's key, signed by `anchor`. Throws `SigningFailed`.
TeamKey vouchFor(const std::string& team, const SigningKey& key, const SigningKey& anchor);

/// A folder with a development anchor and its teams, stored in files of hexadecimal digits:
///
///     anchor.pub        the anchor's public key, for verifying
///     anchor.key        its key pair
///     team-NAME.key     a team's key pair
///
/// If a team's name has characters other than letters and digits, its file name contains a digest of the name instead.
/// Files with private keys are readable only by their owner. They have no further protection, since they are meant for
/// simulated Macs. All members throw `SigningFailed`.
class KeyFolder {
public:
    /// The constructor does not read the folder.
    explicit KeyFolder(std::filesystem::path folder);

    std::filesystem::path anchorFile() const { return folder_ / "anchor.pub"; }
    bool hasAnchor() const;

    /// Creates the folder, if it does not exist, and a new anchor in it. Removes the teams of the previous anchor,
    /// which are no longer trusted.
    void makeAnchor();

    SigningKey anchor() const;

    /// The team's key. Creates and stores it if the folder has none.
    TeamKey team(const std::string& name);

private:
    std::filesystem::path anchorKeyFile() const { return folder_ / "anchor.key"; }
    std::filesystem::path teamFile(const std::string& name) const;

    const std::filesystem::path folder_;
};

} // namespace kelo
