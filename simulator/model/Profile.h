#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/model/SimulatedController.h"

namespace kelo {

/// A kind of Mac: its fans, its keys and the behaviour of its controller.
struct Profile {
    struct FanRange {
        double minRPM;
        double maxRPM;
    };

    std::string name;
    std::string summary; ///< One line for the help text.
    std::vector<FanRange> fans;
    std::uint32_t speedType; ///< Type of the fans' speed keys.
    std::string chipKey;     ///< Key of its chip sensor.
    SimulatedController::UnlockRule unlock;
    bool hasLid;

    static const std::vector<Profile>& all();
    static std::vector<std::string> names();
    /// Returns nullopt for an unknown name.
    static std::optional<Profile> named(std::string_view name);

    /// Defines the keys of this kind of Mac. Every fan is automatic and turns at its minimum speed.
    void defineKeys(SimulatedController& controller) const;
};

} // namespace kelo
