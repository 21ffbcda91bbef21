// The input as what is said to the simulated Mac, and as what the Mac says.

#include <span>
#include <stdexcept>
#include <vector>

#include "fuzz/FuzzTarget.h"
#include "simulator/link/HardwareCalls.h"

namespace {

using Bytes = std::vector<std::uint8_t>;
namespace calls = kelo::hardware_calls;

/// Nothing but a refusal may be thrown.
template <typename Any>
void read(const Bytes& bytes, Any (*decode)(std::span<const std::uint8_t>)) {
    try {
        kelo::mustHold(calls::encode(decode(bytes)) == bytes, "what is read is written as the same bytes");
    } catch (const std::invalid_argument&) {
        // refused in so many words
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Bytes bytes(data, data + size);
    read(bytes, calls::decodeCall);
    read(bytes, calls::decodeAnswer);
    return 0;
}
