#include "core/hold/FanHoldEvent.h"

#include <charconv>
#include <cmath>

namespace kelo {
namespace {

/// The shortest text in the given notation that parses back to `number`; "inf" or "-inf" for an infinity. 400
/// characters are enough for any double in fixed notation.
std::string shortest(double number, std::chars_format format) {
    char text[400];
    return {text, std::to_chars(text, text + sizeof text, number, format).ptr};
}

const char* plainText(FanHoldEvent::Plain event) {
    switch (event) {
    case FanHoldEvent::Plain::backToAsked:
        return "backToAsked";
    case FanHoldEvent::Plain::reasserted:
        return "reasserted";
    case FanHoldEvent::Plain::sleeping:
        return "sleeping";
    case FanHoldEvent::Plain::woke:
        return "woke";
    case FanHoldEvent::Plain::yielded:
        return "yielded";
    case FanHoldEvent::Plain::resumed:
        return "resumed";
    case FanHoldEvent::Plain::released:
        return "released";
    }
    return "";
}

struct Describe {
    std::string operator()(const FanHoldEvent::Engaged& event) const {
        return "engaged(fraction: " + shortestText(event.fraction) +
               ", neededUnlock: " + (event.neededUnlock ? "true" : "false") + ")";
    }
    std::string operator()(const FanHoldEvent::AddingAir& event) const {
        return "addingAir(fraction: " + shortestText(event.fraction) + ")";
    }
    std::string operator()(FanHoldEvent::Plain event) const { return plainText(event); }
};

} // namespace

std::string shortestText(double number) {
    if (std::isnan(number))
        return "nan";
    const double magnitude = std::fabs(number);
    // Above 2^54, not all digits before the decimal point are significant.
    if (magnitude != 0 && (magnitude < 0.0001 || magnitude > 0x1p54))
        return shortest(number, std::chars_format::scientific);
    auto text = shortest(number, std::chars_format::fixed);
    if (text.find('.') == std::string::npos)
        text += ".0";
    return text;
}

std::string FanHoldEvent::description() const { return std::visit(Describe{}, value); }

} // namespace kelo
