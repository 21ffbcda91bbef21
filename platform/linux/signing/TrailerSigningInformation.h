#pragma once

#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "protocol/SigningInformation.h"

namespace kelo {

/// Reads the team from the signature of the running executable, even if its path now leads to a different file.
/// Verifies nothing, as on a Mac.
class TrailerSigningInformation : public SigningInformation {
public:
    /// `onRefused` is called with the reason, one English sentence, when `teamIdentifier` returns nullopt.
    explicit TrailerSigningInformation(std::function<void(const std::string&)> onRefused)
        : onRefused_(std::move(onRefused)) {}

    /// Also returns nullopt for an empty team. Throws std::system_error if the executable cannot be opened.
    std::optional<std::string> teamIdentifier() override;

private:
    const std::function<void(const std::string&)> onRefused_;
};

} // namespace kelo
