#pragma once

namespace kelo {

/// The one rule that decides whether a hold keeps the fans or yields them.
struct HoldGate {
    HoldGate() = delete;

    static constexpr bool mayHold(bool sleeping, bool lidClosed, bool handsBackOnLidClose) {
        return !sleeping && !(lidClosed && handsBackOnLidClose);
    }
};

} // namespace kelo
