#pragma once

#include <functional>
#include <optional>
#include <stdexcept>
#include <string>

#include "protocol/SigningInformation.h"

namespace kelo {

/// The signer of our executable, as set by the test.
class ScriptedSigningInformation : public SigningInformation {
public:
    std::optional<std::string> team = "ABCDE12345";
    bool isUnreadable = false; ///< Whether the executable cannot be read.
    std::function<void()> onQuery = [] {};

    std::optional<std::string> teamIdentifier() override {
        onQuery();
        if (isUnreadable)
            throw std::runtime_error("too many open files");
        return team;
    }
};

} // namespace kelo
