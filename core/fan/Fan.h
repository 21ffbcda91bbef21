#pragma once

namespace kelo {

/// A reading of one usable fan. Speeds are in RPM.
struct Fan {
    int index;     ///< 0-based.
    double minRPM; ///< Lowest speed the fan may be set to; strictly less than `maxRPM`.
    double maxRPM;
    double currentRPM; ///< Measured.
    double targetRPM;  ///< The target speed; `currentRPM` if the target cannot be read.
    bool isManual;     ///< The fan's mode byte is non-zero: the fan is not under automatic control.

    bool operator==(const Fan&) const = default;
};

} // namespace kelo
