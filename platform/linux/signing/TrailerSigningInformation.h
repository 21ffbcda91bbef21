#pragma once

#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "protocol/SigningInformation.h"

namespace kelo {

/// The team in the signature that the running executable carries: of the running file, even if another file is at its
/// path by now. Verifies nothing, as on a Mac.
class TrailerSigningInformation : public SigningInformation {
public:
    /// `onRefused` is called with the reason, one English sentence, when `teamIdentifier` returns nullopt.
    explicit TrailerSigningInformation(std::function<void(const std::string&)> onRefused)
        : onRefused_(std::move(onRefused)) {}

    /// An empty team counts as none. Throws std::system_error when the executable cannot be opened.
    std::optional<std::string> teamIdentifier() override;

private:
    const std::function<void(const std::string&)> onRefused_;
};

} // namespace kelo
