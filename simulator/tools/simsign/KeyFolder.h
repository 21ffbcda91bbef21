#pragma once

#include <filesystem>
#include <string>

#include "simulator/tools/simsign/Certificates.h"

namespace kelo {

/// A folder with a development anchor and its teams, in PEM files:
///
///     anchor.pem        the anchor's certificate, for whoever verifies
///     anchor-key.pem    the same with its private key
///     team-NAME.pem     a team's certificate for code signing, with its private key
///
/// A team whose name is not just letters and digits has a digest of the name in the file's name instead. Files with
/// private keys are readable by their owner alone. They are meant for simulated Macs, and protected no further. All
/// members throw `SigningFailed`.
class KeyFolder {
public:
    /// Nothing is read before it is asked for.
    explicit KeyFolder(std::filesystem::path folder);

    std::filesystem::path anchorFile() const;
    bool hasAnchor() const;

    /// Makes the folder, if it does not exist, and a new anchor in it. Removes the teams of the previous anchor, which
    /// would no longer be trusted.
    void makeAnchor();

    KeyedCertificate anchor() const;

    /// The team's certificate; made, and kept for the next time, if the folder has none.
    KeyedCertificate team(const std::string& name);

private:
    std::filesystem::path anchorKeyFile() const;
    std::filesystem::path teamFile(const std::string& name) const;

    const std::filesystem::path folder_;
};

} // namespace kelo
