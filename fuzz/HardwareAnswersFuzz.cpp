// The input as what the simulated Mac answers or announces, read by the helper's link to it.

#include <stdexcept>
#include <vector>

#include "fuzz/FuzzTarget.h"
#include "simulator/link/HardwareCalls.h"
#include "simulator/link/LidLink.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::vector<std::uint8_t> bytes(data, data + size);
    if (const auto lid = kelo::LidLink::decode(bytes))
        kelo::mustHold(kelo::LidLink::decode(kelo::LidLink::encode(*lid))->index() == lid->index(),
                       "a state of the lid can be said");
    try {
        const auto answer = kelo::hardware_calls::decodeAnswer(bytes);
        kelo::mustHold(kelo::hardware_calls::encode(answer) == bytes, "what is read is written as the same bytes");
    } catch (const std::invalid_argument&) {
        // refused in so many words; nothing else may be thrown
    }
    return 0;
}
