#pragma once

#include <filesystem>
#include <utility>

#include "protocol/SigningInformation.h"

namespace kelo {

/// The team in the signature that the running executable carries.
///
/// Stricter than a Mac, which reads the team without verifying anything: here a signature that does not verify has no
/// team. And the team is that of the file that runs, also when another one stands at its path by now.
class TrailerSigningInformation : public SigningInformation {
public:
    /// `anchorFile`: the trust anchor, PEM.
    explicit TrailerSigningInformation(std::filesystem::path anchorFile) : anchorFile_(std::move(anchorFile)) {}

    /// Reads the whole executable. An empty team counts as none.
    std::optional<std::string> teamIdentifier() override;

private:
    const std::filesystem::path anchorFile_;
};

} // namespace kelo
