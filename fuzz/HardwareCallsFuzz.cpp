// The input as a call to the simulated Mac.

#include <span>
#include <stdexcept>
#include <vector>

#include "fuzz/FuzzTarget.h"
#include "simulator/link/HardwareCalls.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::vector<std::uint8_t> bytes(data, data + size);
    try {
        const auto call = kelo::hardware_calls::decodeCall(bytes);
        kelo::mustHold(kelo::hardware_calls::encode(call) == bytes, "what is read is written as the same bytes");
    } catch (const std::invalid_argument&) {
        // refused in so many words; nothing else may be thrown
    }
    return 0;
}
