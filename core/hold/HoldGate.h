#pragma once

namespace kelo {

/// Decides whether a hold may keep the fans or must yield them.
struct HoldGate {
    HoldGate() = delete;

    static constexpr bool mayHold(bool sleeping, bool lidClosed, bool handsBackOnLidClose) {
        return !sleeping && !(lidClosed && handsBackOnLidClose);
    }
};

} // namespace kelo
