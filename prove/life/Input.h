#pragma once

#include <optional>
#include <string>
#include <vector>

namespace kelo {

/// One thing that happens to the daemon or to its machine. Text form: "hold 2 0.5 1".
struct Input {
    enum class Action {
        // What the machine is like, before the start.
        machine,      ///< x: number of fans. y: how it guards manual mode, 0 to 3. z: its speeds' type, 0 or 1.
        slowExchange, ///< x: seconds that each exchange takes.
        noController,
        unsignedHelper,
        unknownPath,
        unidentifiedFile,
        unwatchableFile,
        start,
        // Time.
        pass,    ///< x: seconds.
        busy,    ///< What is posted to the main queue waits until the next `pass`.
        blocked, ///< The next input of a client or of the power domain comes as soon as the main thread is blocked.
        // Clients and their requests. x chooses among those that are connected.
        connect,
        interrupt,
        invalidate,
        snapshot,
        hold, ///< y: fraction. z: whether it hands back on lid close.
        handBack,
        version,
        standDown,
        // The machine.
        lid,         ///< x: 0 open, 1 closed, 2 absent, 3 something that is no boolean, 4 the number y.
        powerDomain, ///< x: whether there is one to register with.
        canSleep,
        willSleep,
        poweredOn,
        root,       ///< x: whether the process has root's rights.
        chip,       ///< x: degrees Celsius.
        value,      ///< x chooses a key, which is given the number y.
        type,       ///< x chooses a key, which is given the type y, 0 to 4.
        sizeLie,    ///< x chooses a key, which is said to have y bytes.
        remove,     ///< x chooses a key.
        restore,    ///< As `machine`: every key is there again, and tells the truth.
        unlockRule, ///< x: whether manual mode must be unlocked. y: seconds until it then is granted.
        fault,      ///< x: kind. y: reach. z: how many exchanges from now.
        noFault,
        // The process.
        replaceFile, ///< x: whether an event tells.
        deleteFile,  ///< x: whether an event tells.
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
    /// None for what is no input.
    static std::optional<Input> fromText(const std::string& text);
    static const char* name(Action action);
};

/// What happens in one life of the daemon, in order.
using Script = std::vector<Input>;

} // namespace kelo
