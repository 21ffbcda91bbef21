#pragma once

namespace kelo {

/// One usable fan's reading. Speeds in RPM.
struct Fan {
    int index;     ///< 0-based.
    double minRPM; ///< Lowest speed the fan may be set to; strictly less than `maxRPM`.
    double maxRPM;
    double currentRPM; ///< Measured.
    double targetRPM;  ///< What the controller steers to; `currentRPM` when it cannot be read.
    bool isManual;     ///< The fan's mode byte is non-zero: it has been taken out of automatic control.

    bool operator==(const Fan&) const = default;
};

} // namespace kelo
