#pragma once

namespace kelo {

class Clamshell;

struct Lid {
    Lid() = delete;

    /// Whether the lid is known to be closed. A missing property counts as open, and so does any value other than true
    /// or the number 1. Queried at every call.
    static bool isClosed(Clamshell& clamshell);
};

} // namespace kelo
