#pragma once

#include <optional>
#include <string>
#include <vector>

namespace kelo {

/// One event for the daemon or its machine. An example of the text form is "hold 2 0.5 1".
struct Input {
    enum class Action {
        // Properties of the machine, set before the daemon starts.
        machine,      ///< x: number of fans. y: its rule for manual mode, 0 to 3. z: type of speeds, 0 or 1.
        slowExchange, ///< x: seconds that each exchange takes.
        noController,
        unsignedHelper,
        unknownPath,
        unidentifiedFile,
        unwatchableFile,
        start,
        // Time.
        pass,    ///< x: seconds.
        busy,    ///< Tasks in the main queue wait until the next `pass`.
        blocked, ///< The next input from a client or the power domain arrives while the main thread is blocked.
        // Clients and their requests. x chooses a connected client.
        connect,
        interrupt,
        invalidate,
        snapshot,
        hold, ///< y: fraction. z: whether it hands back on lid close.
        handBack,
        version,
        standDown,
        // The machine.
        lid,         ///< x: 0 open, 1 closed, 2 absent, 3 not a boolean, 4 the number y.
        powerDomain, ///< x: whether it exists.
        canSleep,
        willSleep,
        poweredOn,
        root,       ///< x: whether the process is root.
        chip,       ///< x: degrees Celsius.
        value,      ///< x chooses a key, y is its new value.
        type,       ///< x chooses a key, y its new type, 0 to 4.
        sizeLie,    ///< x chooses a key, y is the size in bytes that it reports.
        remove,     ///< x chooses a key.
        restore,    ///< Arguments as for `machine`. Restores all keys and ends every fault of the controller.
        unlockRule, ///< x: whether manual mode must be unlocked. y: seconds until it is then granted.
        fault,      ///< x: kind. y: reach. z: number of exchanges until it occurs.
        noFault,
        // The process.
        replaceFile, ///< x: whether it causes an event.
        deleteFile,  ///< x: whether it causes an event.
        putFileBack,
        fileEvent,
        signal, ///< x: its number.
    };
    static constexpr int actions = static_cast<int>(Action::signal) + 1;

    Action action;
    double x = 0;
    double y = 0;
    double z = 0;

    std::string text() const;
    static std::optional<Input> fromText(const std::string& text);
    static const char* name(Action action);
};

/// A scenario: the inputs of one life of the daemon, in order.
using Script = std::vector<Input>;

} // namespace kelo
