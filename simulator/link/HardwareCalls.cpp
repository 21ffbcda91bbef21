#include "simulator/link/HardwareCalls.h"

#include <algorithm>
#include <stdexcept>
#include <type_traits>

#include "platform/linux/socket/Message.h"

// How each type of a member travels. The names of the functions are the library's.
// NOLINTBEGIN(readability-identifier-naming)
namespace nlohmann {

template <typename T>
struct adl_serializer<std::optional<T>> {
    static void to_json(json& member, const std::optional<T>& value) { member = value ? json(*value) : json(); }
    static void from_json(const json& member, std::optional<T>& value) {
        if (!member.is_null())
            value = member.get<T>();
    }
};

template <>
struct adl_serializer<kelo::ClamshellProperty> {
    static void to_json(json& member, const kelo::ClamshellProperty& state) {
        if (const auto* isClosed = std::get_if<bool>(&state))
            member = *isClosed;
        else if (const auto* number = std::get_if<double>(&state))
            member = *number;
        else
            member = std::holds_alternative<kelo::UnconvertibleProperty>(state) ? json("text") : json();
    }
    static void from_json(const json& member, kelo::ClamshellProperty& state) {
        if (member.is_boolean())
            state = member.get<bool>();
        else if (member.is_number())
            state = member.get<double>();
        else if (!member.is_null())
            state = kelo::UnconvertibleProperty{};
    }
};

} // namespace nlohmann
// NOLINTEND(readability-identifier-naming)

namespace kelo {

NLOHMANN_JSON_SERIALIZE_ENUM(SMCCommand, {{SMCCommand::readKeyInfo, "info"},
                                          {SMCCommand::readBytes, "read"},
                                          {SMCCommand::writeBytes, "write"}})

namespace hardware_calls {

NLOHMANN_JSON_SERIALIZE_ENUM(PowerEvent, {{PowerEvent::canSleep, "canSleep"},
                                          {PowerEvent::willSleep, "willSleep"},
                                          {PowerEvent::willPowerOn, "willPowerOn"},
                                          {PowerEvent::hasPoweredOn, "hasPoweredOn"}})

template <typename T>
requires std::is_empty_v<T>
void to_json(Message& members, const T&) { members = Message::object(); }
template <typename T>
requires std::is_empty_v<T>
void from_json(const Message&, T&) {}

/// The library would make an integer of any real number, which is undefined for one that is too large; so none may be
/// in an integer's place.
template <typename T>
void readMember(const Message& member, T& value) {
    if constexpr (std::is_integral_v<T> && !std::is_same_v<T, bool>)
        member.get_ref<const Message::number_integer_t&>(); // throws
    member.get_to(value);
}
void readMember(const Message& member, std::vector<std::uint8_t>& bytes) {
    for (const auto& byte : member)
        readMember(byte, bytes.emplace_back());
}

#define KELO_WRITE_MEMBER(member) members[#member] = value.member;
#define KELO_READ_MEMBER(member) readMember(members.at(#member), value.member);
#define KELO_MEMBERS(Type, ...)                                                                                        \
    void to_json(Message& members, const Type& value) {                                                                \
        NLOHMANN_JSON_EXPAND(NLOHMANN_JSON_PASTE(KELO_WRITE_MEMBER, __VA_ARGS__))                                      \
    }                                                                                                                  \
    void from_json(const Message& members, Type& value) {                                                              \
        NLOHMANN_JSON_EXPAND(NLOHMANN_JSON_PASTE(KELO_READ_MEMBER, __VA_ARGS__))                                       \
    }

KELO_MEMBERS(Refused, sentence)
KELO_MEMBERS(FanState, index, currentRPM, minRPM, maxRPM, targetRPM, isManual)
KELO_MEMBERS(Write, time, key, bytes)
KELO_MEMBERS(MacState, fans, temperatures, lidClosed, asleep, powerClients, load, time, writes)
KELO_MEMBERS(SleepReport, seconds, acknowledged, missing, fans)
KELO_MEMBERS(PowerAnnouncement, event, notificationID)

KELO_MEMBERS(AllowPowerChange, notificationID)
KELO_MEMBERS(SetLid, state)
KELO_MEMBERS(Sleep, now)
KELO_MEMBERS(SetLoad, load)
KELO_MEMBERS(SetKey, key, value)
KELO_MEMBERS(Interfere, fan, rpm)
KELO_MEMBERS(FailExchange, n)
KELO_MEMBERS(AnswerWith, key, command, result)
KELO_MEMBERS(ReportSize, key, size)
KELO_MEMBERS(ReportType, key, type)
KELO_MEMBERS(RemoveKey, key)
KELO_MEMBERS(AnswerSlowly, seconds)

namespace {

/// A map of one entry: the name of what is said, and its members.
template <typename Any>
std::vector<std::uint8_t> encodeAny(const Any& any) {
    return std::visit([](const auto& said) { return encodeMessage({{said.name, Message(said)}}); }, any);
}

/// The alternative of that name, the `index`-th or one of those after it.
template <typename Any, std::size_t index = 0>
Any alternativeNamed(const std::string& name, const Message& members) {
    if constexpr (index == std::variant_size_v<Any>) {
        throw std::invalid_argument("there is nothing of that name");
    } else {
        using Alternative = std::variant_alternative_t<index, Any>;
        return name == Alternative::name ? members.get<Alternative>() : alternativeNamed<Any, index + 1>(name, members);
    }
}

template <typename Any>
Any decodeAny(std::span<const std::uint8_t> bytes) {
    const auto message = decodeMessage(bytes);
    if (!message || message->size() != 1)
        throw std::invalid_argument("that is not one name with its members");
    const auto said = message->begin();
    try {
        // The library would round a number to what fits, and pass over a member or a name that it does not know.
        if (auto any = alternativeNamed<Any>(said.key(), said.value()); std::ranges::equal(encodeAny(any), bytes))
            return any;
    } catch (const Message::exception&) {
    }
    throw std::invalid_argument("a member of \"" + said.key() + "\" is missing, unknown or of another kind");
}

} // namespace

std::vector<std::uint8_t> encode(const AnyCall& call) { return encodeAny(call); }
std::vector<std::uint8_t> encode(const AnyAnswer& answer) { return encodeAny(answer); }
AnyCall decodeCall(std::span<const std::uint8_t> bytes) { return decodeAny<AnyCall>(bytes); }
AnyAnswer decodeAnswer(std::span<const std::uint8_t> bytes) { return decodeAny<AnyAnswer>(bytes); }
std::string toJSON(const MacState& state) { return Message(state).dump(2); }

} // namespace hardware_calls
} // namespace kelo
