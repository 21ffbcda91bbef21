// The input as the JSON of a snapshot.

#include "fuzz/FuzzTarget.h"
#include "protocol/FanSnapshot.h"

using kelo::FanSnapshot;
using kelo::mustHold;

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    try {
        const auto snapshot = FanSnapshot::decoded({data, data + size});
        mustHold(FanSnapshot::decoded(snapshot.encoded()) == snapshot, "what was read can be written and read again");
    } catch (const kelo::SnapshotError&) {
        // refused in so many words
    }
    return 0;
}
