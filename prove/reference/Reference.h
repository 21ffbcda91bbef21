// A reference model of the fan-control daemon: one class, plain state, no threads and no platform.
// A harness drives it side by side with the real daemon and compares what both do to the outside. It repeats the rules
// in functions much like the daemon's: it shows a slip in one of the two, but no rule that both get wrong.
//
// How a harness drives it:
// - Inputs of connections (arrival, departure, requests) have a part that runs on the connection's own queue, at once,
//   and a part that runs on the main queue, to which the model posts it. Each input says which is which. They may be
//   delivered at any moment, also from inside `Outside::sleepMicroseconds`.
// - The other inputs (timers, power, file events, signals) belong to the main thread: deliver them only while it is
//   idle.
// - `Outside::exit` is the last call of the model; every later input is ignored.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "prove/reference/Rules.h"

namespace kelo::reference {

// One exchange with the controller: 80 bytes each way, multi-byte integers in host order.
using Record = std::array<std::uint8_t, 80>;
using RequestId = std::uint64_t;

// The service's log category.
inline const std::string serviceCategory = "service";
// The refusal when there is nothing to control.
inline const std::string noFansText = "This Mac has no controllable fan.";

enum class Level { error, notice };

enum class Timer {
    repair,    // repeating, 2 s, at most one armed at a time
    orphan,    // one-shot, 8 s, at most one armed at a time
    standDown, // one-shot, 0.3 s, never cancelled; each arming adds another independent firing
};

struct FileIdentity {
    std::int32_t device = 0;
    std::uint64_t inode = 0;
    bool operator==(const FileIdentity&) const = default;
};

// The record that answers a snapshot request. `chipCelsius` is left out of the encoding when absent.
struct Snapshot {
    std::int64_t fanCount = 0;
    double currentRPM = 0.0;
    double minRPM = 0.0;
    double maxRPM = 0.0;
    double targetRPM = 0.0;
    bool underKeloControl = false;
    std::string warmth; // "cool", "warm" or "hot"
    std::optional<double> chipCelsius;
    bool addingAir = false;
    bool lidHasFan = false;
};

// Everything the daemon takes from or does to the outside.
class Outside {
public:
    virtual ~Outside() = default;

    // The controller of fans and sensors.

    // Finds and opens the controller's service; the connection, never 0, or 0 when there is none or it won't open.
    virtual std::uint32_t openController() = 0;
    // One exchange; `out` comes zero-filled. False when the exchange itself failed (`out` is then not looked at).
    virtual bool exchange(std::uint32_t connection, const Record& in, Record& out) = 0;
    // Closes the connection; called once, and only if the first look found no fan.
    virtual void closeController(std::uint32_t connection) = 0;

    // The process.

    // The clock of the unlock deadline, in whole nanoseconds so that sums are exact; it must not go backwards.
    virtual std::int64_t nowNanoseconds() = 0;
    // Blocks the main thread. Always 100000 microseconds.
    virtual void sleepMicroseconds(std::uint32_t microseconds) = 0;
    // Whether the effective user is root, asked afresh before every engagement and every target.
    virtual bool isRoot() = 0;
    // Ends the process; may return or throw, nothing follows.
    virtual void exit(int status) = 0;
    // Runs the work on the main thread, after what was posted before.
    virtual void post(std::function<void()> work) = 0;

    // Lid and power.

    // The clamshell property, asked afresh each time the gate of the hold is evaluated.
    virtual LidProperty lidProperty() = 0;
    // Registers for power messages, until the process ends; false when there is no root port or no notification port.
    virtual bool registerForPower() = 0;
    // Acknowledges a power message with its own notification id.
    virtual void allowPowerChange(std::intptr_t id) = 0;

    // The daemon's own executable.

    // Path of the running executable, or nothing.
    virtual std::optional<std::string> ownExecutable() = 0;
    // Device and inode of the file now at the path, or nothing.
    virtual std::optional<FileIdentity> identify(const std::string& path) = 0;
    // Opens the file and watches it for deletion, renaming and revocation; false when it cannot be opened.
    virtual bool watch(const std::string& path) = 0;
    // Cancels a successful watch.
    virtual void cancelFileWatch() = 0;
    // The team that has signed the running process, or nothing; asked once, during start-up.
    virtual std::optional<std::string> ownTeam() = 0;

    // The listener and its connections.

    // Creates the listener of this service name and sets its delegate; not resumed.
    virtual void createListener(const std::string& serviceName) = 0;
    // Sets the code-signing requirement on incoming connections.
    virtual void setRequirement(const std::string& requirement) = 0;
    // Lets connections in from now on.
    virtual void resumeListener() = 0;
    // The connection was configured (interface, object, both handlers), its client submitted for counting, and resumed.
    virtual void acceptConnection() = 0;

    // Signals.

    // Makes and resumes a source of this signal on the main queue, which alone sees the signal then.
    virtual void makeSignalSource(int number) = 0;

    // Timers.

    // Arms a timer on the main thread; the first firing is due after the delay.
    virtual void armTimer(Timer which, double delaySeconds, bool isRepeating) = 0;
    // Invalidates a timer. May name an orphan timer that has already fired (see `Model::timerFired`).
    virtual void cancelTimer(Timer which) = 0;

    // Log lines and replies.

    // One finished message; the category is "listener" or "service".
    virtual void log(const std::string& category, Level level, const std::string& text) = 0;
    // Reply to `helperVersion`.
    virtual void replyVersion(RequestId request, std::int64_t version) = 0;
    // Reply to `fetchSnapshot`; nothing when there is no controller or a number is not finite.
    virtual void replySnapshot(RequestId request, const std::optional<Snapshot>& snapshot) = 0;
    // Reply to `hold` and `handBack`: nothing for success, else the error's text.
    virtual void replyError(RequestId request, const std::optional<std::string>& text) = 0;
    // Reply to `standDown`, without a value.
    virtual void replyEmpty(RequestId request) = 0;
};

// The model of the daemon. Inputs are its public functions; everything it does goes to the outside given at
// construction.
class Model {
public:
    explicit Model(Outside& outside);

    // Runs the whole start-up; call it once, before any other input.
    void start();

    // The listener asks about a new connection; answered on the connection's queue, counted on the main queue.
    // When the executable was replaced: refused at once, then notice, hand-back and exit on the main queue.
    // Ignored while the listener is not resumed.
    void connectionArrived();
    // The interruption or the invalidation handler of an accepted connection ran; departure counted on the main queue.
    void connectionEnded();

    // Request for the interface version; answered on the connection's queue.
    void helperVersion(RequestId request);
    // Request for a snapshot; all of it on the main queue.
    void fetchSnapshot(RequestId request);
    // Request to hold the fans; all of it on the main queue.
    void hold(RequestId request, double fraction, bool handsBackOnLidClose);
    // Request to hand the fans back; all of it on the main queue.
    void handBack(RequestId request);
    // Request to leave: log line, reply and arming of the stand-down timer on the connection's queue, in this order.
    void standDown(RequestId request);

    // An armed timer that was not cancelled since is due. The daemon keeps a fired orphan timer by name until the next
    // arrival or departure and cancels it then, which has no effect on a timer that has fired.
    void timerFired(Timer which);
    // A message of the root power domain, any type; ignored while not registered.
    void powerMessage(std::uint32_t type, std::intptr_t id);
    // The watched file was deleted, renamed or revoked, as far as the watch can tell; ignored without a watch.
    void fileEvent();
    // A signal was delivered through its source; one that has no source is ignored.
    void signal(int number);

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
        bool isTimerArmed = false;
        double floor = 0.0;
        std::vector<double> chipReadings; // oldest first
    };

    // The text of an error, or nothing for success.
    using Refusal = std::optional<std::string>;

    // Key client.
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

    // Requests, clients and leaving, on the main queue.
    Snapshot takeSnapshot();
    void holdOnMain(RequestId request, double fraction, bool handsBackOnLidClose);
    void handBackOnMain(RequestId request);
    void endSession();
    void clientArrived();
    void clientWentAway();
    void orphanTimerFired();
    void shutdownNow();
    void leave();
    void leaveAfter(const std::string& notice);

    // Start-up.
    void startService();
    void startBinaryWatch();
    void startListener();
    bool isBinaryCurrent();
    void lookAtBinary();

    Outside& outside_;

    bool isListening_ = false;
    bool isGone_ = false;

    std::uint32_t smcConnection_ = 0; // 0: not open
    int fanCount_ = 0;                // 0: there is no controller, and requests are refused
    std::optional<Hold> session_;
    std::int64_t clients_ = 0;
    bool hasOrphanTimer_ = false; // stays true after the timer has fired
    bool hearsPower_ = false;     // registered for power messages
    bool isAsleep_ = false;       // sleep was announced, and no wake since

    std::optional<std::string> binaryPath_; // nothing: there is no watch on the executable
    std::optional<FileIdentity> binaryIdentity_;
    bool isBinaryWatched_ = false;
};

} // namespace kelo::reference
