#pragma once

namespace kelo {

class Clamshell;

/// The laptop's lid.
struct Lid {
    Lid() = delete;

    /// Whether the lid is known to be closed. A machine without a lid, and a property that is no truth value (a number
    /// other than 0 and 1 among them), read as open. Queried afresh at every call.
    static bool isClosed(Clamshell& clamshell);
};

} // namespace kelo
