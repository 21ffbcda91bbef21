#include "simulator/link/HardwareCalls.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <type_traits>

// The serialization of each member type. The JSON library prescribes the function names.
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

template <typename T>
requires std::is_empty_v<T>
void to_json(nlohmann::json& members, const T&) { members = nlohmann::json::object(); }
template <typename T>
requires std::is_empty_v<T>
void from_json(const nlohmann::json&, T&) {}

NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Refused, sentence)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(FanState, index, currentRPM, minRPM, maxRPM, targetRPM, isManual)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Write, time, key, bytes)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(MacState, fans, temperatures, lidClosed, asleep, powerClients, load, time, writes)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(SleepReport, seconds, acknowledged, missing, fans)

NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(SetLid, state)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Sleep, now)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(SetLoad, load)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(SetKey, key, value)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Interfere, fan, rpm)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(FailExchange, n)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(AnswerWith, key, command, result)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(ReportSize, key, size)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(ReportType, key, type)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(RemoveKey, key)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(AnswerSlowly, seconds)

namespace {

/// A map with one entry: its key is the name of the call or answer, and its value contains the members. CBOR can encode
/// every double.
template <typename Any>
std::vector<std::uint8_t> encodeAny(const Any& any) {
    return std::visit(
        [](const auto& said) {
            return nlohmann::json::to_cbor({{said.name, nlohmann::json(said)}});
        },
        any);
}

/// Returns the alternative with the given name. Starts the search at the `index`-th alternative.
template <typename Any, std::size_t index = 0>
Any alternativeNamed(const std::string& name, const nlohmann::json& members) {
    if constexpr (index == std::variant_size_v<Any>) {
        throw std::invalid_argument("the name of the message is unknown");
    } else {
        using Alternative = std::variant_alternative_t<index, Any>;
        return name == Alternative::name ? members.get<Alternative>() : alternativeNamed<Any, index + 1>(name, members);
    }
}

template <typename Any>
Any decodeAny(std::span<const std::uint8_t> bytes) {
    const auto message = nlohmann::json::from_cbor(bytes, true, false);
    if (!message.is_object() || message.size() != 1)
        throw std::invalid_argument("the message is not one name with its members");
    const auto named = message.begin();
    try {
        // Compares the encoded result with the input, because the library rounds numbers to fit their types and ignores
        // unknown members and names.
        if (auto any = alternativeNamed<Any>(named.key(), named.value()); std::ranges::equal(encodeAny(any), bytes))
            return any;
    } catch (const nlohmann::json::exception&) {
    }
    throw std::invalid_argument("a member of \"" + named.key() + "\" is missing, unknown or of the wrong type");
}

} // namespace

std::vector<std::uint8_t> encode(const AnyCall& call) { return encodeAny(call); }
std::vector<std::uint8_t> encode(const AnyAnswer& answer) { return encodeAny(answer); }
AnyCall decodeCall(std::span<const std::uint8_t> bytes) { return decodeAny<AnyCall>(bytes); }
AnyAnswer decodeAnswer(std::span<const std::uint8_t> bytes) { return decodeAny<AnyAnswer>(bytes); }
std::string toJSON(const MacState& state) { return nlohmann::json(state).dump(2); }

} // namespace hardware_calls
} // namespace kelo
