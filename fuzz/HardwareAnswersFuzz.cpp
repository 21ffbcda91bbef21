// Decodes the input as the simulated Mac's answer about its lid. Controller and power records need no decoding; the
// targets smc_replies and power_messages fuzz their handling.

#include <cstring>

#include "fuzz/FuzzTarget.h"
#include "platform/linux/hardware/MacWire.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    kelo::mac_wire::LidRecord record;
    if (size != sizeof record)
        return 0;
    std::memcpy(&record, data, size);
    if (const auto lid = kelo::mac_wire::decode(record))
        kelo::mustHold(kelo::mac_wire::encode(*lid).state == record.state, "a decoded state is encoded as itself");
    return 0;
}
