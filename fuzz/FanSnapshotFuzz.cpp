// The input as the JSON of a snapshot.

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
    // From here on nothing may throw: what was read can be written and read again, unless it was so near to the limit
    // that "1" becoming "1.0" is too much.
    const auto json = snapshot->encoded();
    if (json.size() <= FanSnapshot::maximumSize)
        mustHold(FanSnapshot::decoded(json) == *snapshot, "what was read is written and read as the same");
    return 0;
}
