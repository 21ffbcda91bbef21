#pragma once

namespace kelo {

/// Decides whether a hold keeps the fans or yields them.
struct HoldGate {
    HoldGate() = delete;

    static constexpr bool mayHold(bool sleeping, bool lidClosed, bool handsBackOnLidClose) {
        return !sleeping && !(lidClosed && handsBackOnLidClose);
    }
};

} // namespace kelo
