#include "simulator/link/LidLink.h"

#include <cstring>
#include <type_traits>
#include <variant>

namespace kelo {
namespace {

/// In the property's order.
enum Alternative : std::uint8_t { absent, boolean, number, unconvertible };
static_assert(std::is_same_v<std::variant_alternative_t<boolean, ClamshellProperty>, bool>);
static_assert(std::is_same_v<std::variant_alternative_t<number, ClamshellProperty>, double>);
static_assert(std::is_same_v<std::variant_alternative_t<unconvertible, ClamshellProperty>, UnconvertibleProperty>);

double numberOf(const ClamshellProperty& lid) {
    if (const auto* isClosed = std::get_if<bool>(&lid))
        return *isClosed ? 1 : 0;
    const auto* value = std::get_if<double>(&lid);
    return value == nullptr ? 0 : *value;
}

} // namespace

LidLink::Answer LidLink::encode(const ClamshellProperty& lid) {
    Answer answer{static_cast<std::uint8_t>(lid.index())};
    const double value = numberOf(lid);
    std::memcpy(&answer[1], &value, sizeof value);
    return answer;
}

std::optional<ClamshellProperty> LidLink::decode(std::span<const std::uint8_t> answer) {
    if (answer.size() != sizeof(Answer))
        return std::nullopt;
    double value = 0;
    std::memcpy(&value, &answer[1], sizeof value);
    switch (answer[0]) {
    case absent:
        return ClamshellProperty();
    case boolean:
        return ClamshellProperty(value != 0);
    case number:
        return ClamshellProperty(value);
    case unconvertible:
        return ClamshellProperty(UnconvertibleProperty{});
    default:
        return std::nullopt;
    }
}

std::unique_ptr<LidLink> LidLink::connect(int folder, std::chrono::milliseconds timeout) {
    auto connection = MacConnection::connect(folder, socketName, timeout);
    if (!connection)
        return nullptr;
    return std::unique_ptr<LidLink>(new LidLink(std::move(*connection)));
}

ClamshellProperty LidLink::call(const Look&) {
    Answer answer;
    if (const auto lid = decode(connection_.ask(question, answer)))
        return *lid;
    connection_.close();
    throw CallFailed("The simulated Mac's lid answered something that is no state of a lid.");
}

} // namespace kelo
