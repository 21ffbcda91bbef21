#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

#include "protocol/KeloHelperProtocol.h"

namespace kelo {

/// `what()` gives the reason in one sentence.
class SnapshotError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The state of the fans, sent over the connection as JSON. Immutable.
///
/// The speeds are those of the reported fan, in RPM. The JSON keys are the member names, written in this order; readers
/// must not depend on this order.
struct FanSnapshot {
    const std::int64_t fanCount;
    const double currentRPM;
    const double minRPM;
    const double maxRPM;
    const double targetRPM;
    const bool underKeloControl;             ///< At least one fan is in manual mode.
    const std::string warmth;                ///< "cool", "warm" or "hot".
    const std::optional<double> chipCelsius; ///< Omitted from the JSON when there is no reading.
    const bool addingAir;                    ///< The hold runs the fans faster than requested because the chip is hot.
    const bool lidHasFan;                    ///< The hold has yielded the fans for a reason other than sleep.

    bool operator==(const FanSnapshot&) const = default;

    /// The maximum size of a JSON text in bytes, many times the size of a snapshot. Larger texts are rejected.
    static constexpr std::size_t maximumSize = 65'536;

    /// Throws `SnapshotError` for a number that JSON cannot represent (NaN or an infinity) and for text that is not
    /// UTF-8.
    Data encoded() const;

    /// Decodes a JSON object. Throws `SnapshotError` if the text is not valid JSON or larger than `maximumSize`, if a
    /// number exceeds the range of a double, or if a required key is missing or a value has the wrong type (true for a
    /// number, 1.5 for the integer, null for a required key). Ignores unknown keys. If a key is repeated, uses its last
    /// value.
    static FanSnapshot decoded(const Data& json);
};

} // namespace kelo
