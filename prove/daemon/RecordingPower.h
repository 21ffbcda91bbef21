#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "testing/ScriptedPower.h"

namespace kelo {

/// Power notifications that the test sends, and which report each registration.
class RecordingPower : public ScriptedPower {
public:
    /// Called with "register for power", "no power domain".
    std::function<void(const std::string&)> onStep = [](const std::string&) {};

    [[nodiscard]] std::unique_ptr<PowerRegistration> registerForSystemPower(PowerHandler onMessage) override {
        onStep(isPresent ? "register for power" : "no power domain");
        return ScriptedPower::registerForSystemPower(std::move(onMessage));
    }
};

} // namespace kelo
