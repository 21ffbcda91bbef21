#pragma once

namespace kelo {

/// The one rule by which a hold keeps the fans or stands aside.
struct HoldGate {
    HoldGate() = delete;

    static constexpr bool mayHold(bool sleeping, bool lidClosed, bool handsBackOnLidClose) {
        return !sleeping && !(lidClosed && handsBackOnLidClose);
    }
};

} // namespace kelo
