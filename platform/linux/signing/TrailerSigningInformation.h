#pragma once

#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "platform/linux/signing/InstalledAnchor.h"
#include "protocol/SigningInformation.h"

namespace kelo {

/// The team in the signature that the running executable carries.
///
/// Stricter than a Mac, which reads the team without verifying anything: here a signature that does not verify has no
/// team. And the team is that of the running file, even if another file is at its path by now.
class TrailerSigningInformation : public SigningInformation {
public:
    /// `onRefused` is called with the reason, one English sentence, when `teamIdentifier` returns none.
    TrailerSigningInformation(InstalledAnchor anchor, std::function<void(const std::string&)> onRefused)
        : anchor_(std::move(anchor)), onRefused_(std::move(onRefused)) {}

    /// Reads the whole executable. An empty team counts as none.
    std::optional<std::string> teamIdentifier() override;

private:
    std::string requireTeam() const;

    const InstalledAnchor anchor_;
    const std::function<void(const std::string&)> onRefused_;
};

} // namespace kelo
