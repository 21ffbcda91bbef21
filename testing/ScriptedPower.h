#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <vector>

#include "core/hold/PowerNotifications.h"
#include "testing/CodeOf.h"

namespace kelo {

/// Power notifications that a test sends.
class ScriptedPower : public PowerNotifications {
public:
    bool isPresent = true;   ///< Whether there is a root power domain to register with.
    bool isThrowing = false; ///< Whether registering throws, as it does when the system has run out of resources.
    std::function<void()> onRegister = [] {};
    /// Called with the notification ID of each acknowledgement.
    std::function<void(std::intptr_t)> onAllow = [](std::intptr_t) {};

    [[nodiscard]] std::unique_ptr<PowerRegistration> registerForSystemPower(PowerHandler onMessage) override {
        onRegister();
        if (isThrowing)
            throw std::runtime_error("out of ports");
        if (!isPresent)
            return nullptr;
        ++registrations_;
        return std::make_unique<Registration>(*this, std::move(onMessage));
    }

    /// Delivers a message to every registration.
    void send(PowerMessage message, std::intptr_t notificationID = 0) {
        const auto receivers = receivers_; // a handler may deregister another
        const CodeOf daemon(CodeOf::Owner::daemon);
        for (const auto& [id, receiver] : receivers)
            if (receivers_.contains(id))
                receiver(message, notificationID);
    }

    const std::vector<std::intptr_t>& allowed() const { return allowed_; }
    /// The number of registrations so far.
    int registrations() const { return registrations_; }
    /// The number of registrations that still exist.
    std::size_t registered() const { return receivers_.size(); }

private:
    class Registration : public PowerRegistration {
    public:
        Registration(ScriptedPower& power, PowerHandler onMessage) : power_(power), id_(power.nextID_++) {
            power_.receivers_[id_] = std::move(onMessage);
        }
        ~Registration() override { power_.receivers_.erase(id_); }
        void allowPowerChange(std::intptr_t notificationID) noexcept override {
            const CodeOf test(CodeOf::Owner::test);
            power_.allowed_.push_back(notificationID);
            power_.onAllow(notificationID);
        }

    private:
        ScriptedPower& power_;
        int id_;
    };

    std::map<int, PowerHandler> receivers_;
    int nextID_ = 0;
    int registrations_ = 0;
    std::vector<std::intptr_t> allowed_;
};

} // namespace kelo
