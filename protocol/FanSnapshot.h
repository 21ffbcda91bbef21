#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

#include "protocol/KeloHelperProtocol.h"

namespace kelo {

/// A snapshot that could not be written or read. `what()` says why in one sentence.
class SnapshotError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The one record that crosses the connection: the state of the fans, as JSON. It does not change once it is made.
///
/// The speeds are those of the reported fan, in RPM. The JSON keys are the names of the members, and they are written
/// in this order; readers must not depend on it.
struct FanSnapshot {
    const std::int64_t fanCount;
    const double currentRPM;
    const double minRPM;
    const double maxRPM;
    const double targetRPM;
    const bool underKeloControl;             ///< Some fan is in manual mode.
    const std::string warmth;                ///< "cool", "warm" or "hot".
    const std::optional<double> chipCelsius; ///< Left out of the JSON when there is no reading.
    const bool addingAir;                    ///< The hold runs the fans faster than asked because the chip is hot.
    const bool lidHasFan;                    ///< The hold stands aside because the lid is closed.

    bool operator==(const FanSnapshot&) const = default;

    /// Larger texts are refused: this is many times what a snapshot needs.
    static constexpr std::size_t maximumSize = 65'536;

    /// Throws `SnapshotError` for a number that JSON cannot hold (NaN, an infinity) and for a text that is not UTF-8.
    Data encoded() const;

    /// Reads a JSON object. Strict: a required key that is missing and a value of another type (true for a number, 1.5
    /// for the integer, null for a required key) throw `SnapshotError`, as does anything that is not JSON, holds a
    /// number that no double can, or is larger than `maximumSize`. Unknown keys are ignored. Of a key that appears
    /// twice the last one counts.
    static FanSnapshot decoded(const Data& json);
};

} // namespace kelo
