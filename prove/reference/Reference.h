// A reference model of the fan-control daemon, which can replace the daemon on a platform. A harness runs both side by
// side and compares their effects on the platform. The model implements the daemon's rules again in similar functions:
// it reveals a mistake in one of the two, but not a rule that both get wrong.
//
// The model handles connections and requests partly at once, on the connection's queue, and partly on the main queue.
// They may arrive at any time, even while the model sleeps. `Platform::exit` is the model's last call; afterwards the
// model ignores all events.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/hold/PowerNotifications.h"
#include "core/queue/MainQueue.h"
#include "core/watch/FileEvents.h"
#include "helper/Listener.h"
#include "helper/Platform.h"
#include "helper/Signals.h"
#include "protocol/KeloHelperProtocol.h"
#include "prove/reference/Rules.h"

namespace kelo::reference {

// A request to the controller or its reply: 80 bytes, with integers in host order.
using Record = std::array<std::uint8_t, 80>;

inline const std::string serviceCategory = "service";
// The refusal if there is no fan to control.
inline const std::string noFansText = "This Mac has no controllable fan.";

class Model {
public:
    // Creates a model and runs its whole start-up, for `Daemon`.
    static std::shared_ptr<void> start(const Platform& platform);

    explicit Model(const Platform& platform) : platform_(platform) {}

private:
    struct KeyInfo {
        std::uint32_t size = 0;
        std::uint32_t type = 0;
    };

    struct Fan {
        int index = 0;
        double minRPM = 0.0;
        double maxRPM = 0.0;
        double currentRPM = 0.0;
        double targetRPM = 0.0;
        bool isManual = false;
    };

    struct Hold {
        double asked = 0.0;
        bool handsBackOnLidClose = false;
        bool isHolding = false;
        bool isEngaged = false;
        bool isSleeping = false;
        bool isAddingAir = false;
        double floor = 0.0;
        std::vector<double> chipReadings; // oldest first
    };

    class Requests;

    // The text of an error; nullopt for success.
    using Refusal = std::optional<std::string>;

    // Key client.
    // Returns false if the exchange failed; `out` is then meaningless.
    bool exchange(const Record& in, Record& out);
    std::optional<KeyInfo> keyInfo(const std::string& key);
    std::optional<std::array<std::uint8_t, 32>> readValue(const std::string& key, KeyInfo& info);
    std::optional<std::uint8_t> readByte(const std::string& key);
    std::optional<double> readFloat(const std::string& key);
    std::int32_t writeValue(const std::string& key, const std::array<std::uint8_t, 32>& value, std::uint32_t size);
    std::int32_t writeByte(const std::string& key, std::uint8_t value);
    std::int32_t writeFloat(const std::string& key, float value);

    // Fans and sensors.
    void openFans();
    std::vector<Fan> fans();
    std::optional<Fan> readFan(int index);
    std::optional<double> chipTemperature();
    std::string warmth();
    std::int64_t nowNanoseconds(); // integers, so that sums are exact
    Refusal engageManual(int index, bool& neededUnlock);
    Refusal setTarget(int index, double rpm);
    void restoreAuto();

    // The hold.
    void emit(const std::string& event);
    bool gateIsOpen(const Hold& hold);
    Refusal startHold(Hold& hold);
    void stopHold(Hold& hold);
    Refusal engage(Hold& hold, bool& neededUnlock);
    double heldFraction(Hold& hold);
    bool follow(Hold& hold);
    bool hasDrift(double fraction);
    void reassertIfNeeded(Hold& hold);
    void willSleep(Hold& hold);
    void didWake(Hold& hold);

    // Start-up.
    void startService();
    void startBinaryWatch();
    void startListener();
    void registerForPower();

    // Connections and requests: the parts that run at once.
    bool admit(IncomingConnection& connection);
    void perform(const requests::AnyCall& call);

    // The main queue.
    void post(std::function<void()> work);
    std::optional<Data> snapshot();
    Refusal holdOnMain(const requests::Hold& asked);
    void endSession();
    void clientArrived();
    void clientWentAway();
    void orphanTimerFired();
    void powerMessage(PowerMessage message, std::intptr_t id);
    bool isBinaryCurrent();
    void lookAtBinary();
    void leave();
    void leaveAfter(const std::string& reason);

    void error(const std::string& category, const std::string& text);
    void notice(const std::string& category, const std::string& text);

    const Platform& platform_;
    std::unique_ptr<Listener> listener_;
    std::vector<std::unique_ptr<SignalSource>> signals_;
    std::unique_ptr<Timer> repairTimer_; // every 2 s
    std::unique_ptr<Timer> orphanTimer_; // once after 8 s; reset when a client connects or disconnects
    std::unique_ptr<PowerRegistration> power_;

    bool isListening_ = false;
    bool isGone_ = false;

    std::uint32_t smcConnection_ = 0; // 0: not open
    int fanCount_ = 0;                // 0: no controller; requests are refused
    std::optional<Hold> session_;
    std::int64_t clients_ = 0;
    bool isAsleep_ = false; // sleep was announced, and no wake has followed

    std::optional<std::string> binaryPath_; // nullopt: the executable is not watched
    std::optional<FileIdentity> binaryIdentity_;
    std::unique_ptr<FileEventSource> binaryWatch_;
    bool isBinaryWatched_ = false;
};

} // namespace kelo::reference
