#pragma once

namespace kelo {

class Clamshell;

struct Lid {
    Lid() = delete;

    /// Whether the lid is known to be closed. The lid counts as open if the property is missing or has a value other
    /// than true or the number 1. Queries the system on every call.
    static bool isClosed(Clamshell& clamshell);
};

} // namespace kelo
