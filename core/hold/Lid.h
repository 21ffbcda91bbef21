#pragma once

namespace kelo {

class Clamshell;

/// The laptop's lid.
struct Lid {
    Lid() = delete;

    /// Whether the lid is known to be closed. A machine without a lid, and a property that is not a boolean (nor the
    /// number 0 or 1), count as open. Queried at every call.
    static bool isClosed(Clamshell& clamshell);
};

} // namespace kelo
