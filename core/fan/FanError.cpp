#include "core/fan/FanError.h"

#include <charconv>

namespace kelo {
namespace {

/// Upper-case base 16 without padding; a negative code is a minus sign and its magnitude, so -3 reads "0x-3".
std::string hex(std::int32_t code) {
    char digits[9]; // "-80000000" is the longest
    const auto end = std::to_chars(digits, digits + sizeof digits, code, 16).ptr;
    std::string text(digits, end);
    for (auto& digit : text)
        if (digit >= 'a')
            digit = static_cast<char>(digit - 'a' + 'A');
    return text;
}

} // namespace

FanError FanError::modeRejected(std::int32_t code) {
    return FanError("This Mac refused to hand over the fan (code 0x" + hex(code) +
                    "). It usually means the system is managing cooling itself right now.");
}

FanError FanError::targetRejected(std::int32_t code) {
    return FanError("The fan speed wasn't accepted (code 0x" + hex(code) + ").");
}

FanError FanError::smcUnavailable() { return FanError("Can't reach this Mac's fan controller."); }

FanError FanError::noFans() { return FanError("This Mac has no controllable fan."); }

FanError FanError::needsRoot() {
    return FanError("Changing fan speed needs administrator rights. Run this with sudo.");
}

} // namespace kelo
