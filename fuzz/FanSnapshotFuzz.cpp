// Decodes the input as the JSON of a snapshot.

#include <optional>

#include "fuzz/FuzzTarget.h"
#include "protocol/FanSnapshot.h"

using kelo::FanSnapshot;
using kelo::mustHold;

namespace {

std::optional<FanSnapshot> decoded(const kelo::Data& json) {
    try {
        return FanSnapshot::decoded(json);
    } catch (const kelo::SnapshotError&) {
        return std::nullopt; // refused with an error
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto snapshot = decoded({data, data + size});
    if (!snapshot)
        return 0;
    // Encoding the snapshot and decoding it again must not throw. Skips JSON that has grown beyond the maximum size
    // because "1" became "1.0".
    const auto json = snapshot->encoded();
    if (json.size() <= FanSnapshot::maximumSize)
        mustHold(FanSnapshot::decoded(json) == *snapshot, "encoding and decoding preserve the snapshot");
    return 0;
}
