#include "platform/linux/hardware/MacWire.h"

namespace kelo::mac_wire {

LidRecord encode(const ClamshellProperty& lid) {
    if (const auto* isClosed = std::get_if<bool>(&lid))
        return {LidState::boolean, *isClosed ? 1.0 : 0.0};
    if (const auto* number = std::get_if<double>(&lid))
        return {LidState::number, *number};
    return {std::holds_alternative<UnconvertibleProperty>(lid) ? LidState::unconvertible : LidState::absent, 0};
}

std::optional<ClamshellProperty> decode(const LidRecord& record) {
    switch (record.state) {
    case LidState::absent:
        return ClamshellProperty();
    case LidState::boolean:
        return ClamshellProperty(record.number != 0);
    case LidState::number:
        return ClamshellProperty(record.number);
    case LidState::unconvertible:
        return ClamshellProperty(UnconvertibleProperty{});
    }
    return std::nullopt;
}

} // namespace kelo::mac_wire
