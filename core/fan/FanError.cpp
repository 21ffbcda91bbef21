#include "core/fan/FanError.h"

#include <charconv>

namespace kelo {
namespace {

/// The code in upper-case hexadecimal without leading zeros. A negative code becomes a minus sign and its magnitude.
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

std::string FanError::errorDescription() const {
    switch (case_) {
    case Case::modeRejected:
        return "This Mac refused to hand over the fan (code 0x" + hex(code_) +
               "). It usually means the system is managing cooling itself right now.";
    case Case::targetRejected:
        return "The fan speed wasn't accepted (code 0x" + hex(code_) + ").";
    case Case::smcUnavailable:
        return "Can't reach this Mac's fan controller.";
    case Case::noFans:
        return "This Mac has no controllable fan.";
    case Case::needsRoot:
        return "Changing fan speed needs administrator rights. Run this with sudo.";
    }
    return {};
}

const char* FanError::what() const noexcept {
    switch (case_) {
    case Case::modeRejected:
        return "modeRejected";
    case Case::targetRejected:
        return "targetRejected";
    case Case::smcUnavailable:
        return "smcUnavailable";
    case Case::noFans:
        return "noFans";
    case Case::needsRoot:
        return "needsRoot";
    }
    return "";
}

} // namespace kelo
