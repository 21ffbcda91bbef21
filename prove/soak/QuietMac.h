#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "core/hold/PowerNotifications.h"
#include "helper/HelperProcess.h"
#include "helper/Platform.h"
#include "simulator/model/Profile.h"
#include "simulator/model/SimulatedExchange.h"
#include "testing/ScriptedClamshell.h"
#include "testing/ScriptedFileEvents.h"
#include "testing/ScriptedListener.h"
#include "testing/ScriptedPlatform.h"
#include "testing/ScriptedRights.h"
#include "testing/VirtualClock.h"
#include "testing/VirtualQueue.h"

namespace kelo {

/// Power notifications sent by hand to the one who is registered.
class QuietPower : public PowerNotifications {
public:
    [[nodiscard]] std::unique_ptr<PowerRegistration> registerForSystemPower(PowerHandler onMessage) override {
        onMessage_ = std::move(onMessage);
        return std::make_unique<Registration>(*this);
    }

    void send(PowerMessage message) {
        if (const auto onMessage = onMessage_)
            onMessage(message, ++sent_);
    }

    bool isRegistered() const { return onMessage_ != nullptr; }

    std::intptr_t unacknowledged = 0; ///< Announcements of sleep less their acknowledgements.

private:
    class Registration : public PowerRegistration {
    public:
        explicit Registration(QuietPower& power) : power_(power) {}
        ~Registration() override { power_.onMessage_ = nullptr; }
        void allowPowerChange(std::intptr_t) noexcept override { --power_.unacknowledged; }

    private:
        QuietPower& power_;
    };

    PowerHandler onMessage_;
    std::intptr_t sent_ = 0;
};

/// Logs whose lines nobody keeps.
class QuietLog : public SystemLog, public LogOutput {
public:
    bool isEnabled(LogLevel) override { return true; }
    void write(LogLevel, const std::string&) override {}
    double wallClock() override { return 0; }
    void writeStandardError(const std::string&) override {}
};

/// A Mac on virtual time, for lives so long that nothing about it may be recorded: its own memory does not grow.
class QuietMac {
public:
    QuietMac() { Profile::named("laptop").value().defineKeys(controller); }

    /// Lets time pass, in which the helper does what falls due.
    void pass(double seconds) {
        queue.runFor(seconds);
        exchanges += controller.log().size();
        controller.clearLog();
    }

    double now = 0; ///< Virtual seconds.
    std::size_t exchanges = 0;
    std::optional<int> exitStatus;
    SimulatedController controller{[this] { return now; }};
    SimulatedExchange exchange{controller};
    VirtualClock clock{now};
    ScriptedRights rights;
    QuietPower power;
    ScriptedClamshell clamshell;
    ScriptedFileEvents files;
    ScriptedSignals signals;
    ScriptedSigningInformation signing;
    QuietLog output;
    ScriptedListener* listener = nullptr; ///< Made by the helper.
    VirtualQueue queue{now};

    const Platform platform{
        .machine = {.queue = queue,
                    .exchange = exchange,
                    .clock = clock,
                    .rights = rights,
                    .power = power,
                    .clamshell = clamshell},
        .files = files,
        .signals = signals,
        .signing = signing,
        .logOutput = output,
        .makeSystemLog = [](const std::string&, const std::string&) { return std::make_unique<QuietLog>(); },
        .makeListener =
            [this](const std::string&) {
                auto made = std::make_unique<ScriptedListener>();
                listener = made.get();
                return made;
            },
        .runMainLoop = [] {},
        .exit =
            [this](int status) {
                exitStatus = status;
                queue.stop();
            },
    };
};

} // namespace kelo
