#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/model/SimulatedController.h"

namespace kelo {

/// A kind of Mac: what its controller holds and how it behaves.
struct Profile {
    struct FanRange {
        double minRPM;
        double maxRPM;
    };

    std::string name;
    std::string summary; ///< One line for the command line's help.
    std::vector<FanRange> fans;
    std::uint32_t speedType; ///< Type of the fans' speed keys.
    std::string chipKey;     ///< The chip sensor that it has.
    SimulatedController::UnlockRule unlock;
    bool hasLid;

    static const std::vector<Profile>& all();
    static std::vector<std::string> names();
    /// None for an unknown name.
    static std::optional<Profile> named(std::string_view name);

    /// Defines the keys of this kind of Mac, every fan idle at its minimum under automatic control.
    void defineKeys(SimulatedController& controller) const;
};

} // namespace kelo
