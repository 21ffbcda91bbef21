#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "tests/support/ScriptedPower.h"

namespace kelo {

/// Power notifications sent by hand, which reports each registration and its end.
class RecordingPower : public ScriptedPower {
public:
    /// Called with "register for power", "no power domain", "deregister from power".
    std::function<void(const std::string&)> onStep = [](const std::string&) {};

    [[nodiscard]] std::unique_ptr<PowerRegistration> registerForSystemPower(PowerHandler onMessage) override {
        auto registration = ScriptedPower::registerForSystemPower(std::move(onMessage));
        onStep(registration ? "register for power" : "no power domain");
        return registration ? std::make_unique<RecordingRegistration>(*this, std::move(registration)) : nullptr;
    }

private:
    class RecordingRegistration : public PowerRegistration {
    public:
        RecordingRegistration(RecordingPower& power, std::unique_ptr<PowerRegistration> registration)
            : power_(power), registration_(std::move(registration)) {}
        ~RecordingRegistration() override {
            registration_.reset();
            power_.onStep("deregister from power");
        }
        void allowPowerChange(std::intptr_t id) noexcept override { registration_->allowPowerChange(id); }

    private:
        RecordingPower& power_;
        std::unique_ptr<PowerRegistration> registration_;
    };
};

} // namespace kelo
