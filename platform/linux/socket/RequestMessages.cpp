#include "platform/linux/socket/RequestMessages.h"

#include <algorithm>
#include <utility>

namespace kelo::request_messages {
namespace {

bool isOfType(const Message& value, WireType type) {
    switch (type) {
    case WireType::real:
        return value.is_number_float();
    case WireType::boolean:
        return value.is_boolean();
    case WireType::integer:
        return value.is_number_integer();
    case WireType::optionalText:
        return value.is_null() || value.is_string();
    case WireType::optionalData:
        return value.is_null() || value.is_binary();
    }
    return false;
}

bool areOfTypes(const Message& values, const WireTypes& types) {
    return values.is_array() && std::equal(values.begin(), values.end(), types.begin(), types.end(), isOfType);
}

/// The member of that name; null when there is none.
const Message& member(const Message& message, const char* name) {
    static const Message none;
    const auto found = message.find(name);
    return found == message.end() ? none : *found;
}

Message optionalText(const std::optional<std::string>& text) { return text ? Message(*text) : Message(); }

Message optionalData(const std::optional<Data>& data) { return data ? Message::binary(*data) : Message(); }

} // namespace

std::optional<IncomingRequest> decode(std::span<const std::uint8_t> bytes) {
    auto message = decodeMessage(bytes);
    if (!message || message->size() != 3)
        return std::nullopt;
    const auto& number = member(*message, "number");
    const auto& selector = member(*message, "selector");
    const auto& arguments = member(*message, "arguments");
    if (!number.is_number_unsigned() || !selector.is_string())
        return std::nullopt;
    const auto* signature = signatureWith(selector.get_ref<const std::string&>());
    if (signature == nullptr || !areOfTypes(arguments, signature->arguments))
        return std::nullopt;
    return IncomingRequest{number.get<std::uint64_t>(), signature, std::move((*message)["arguments"])};
}

void perform(const IncomingRequest& request, KeloHelperProtocol& object,
             std::function<void(std::vector<std::uint8_t>)> send) {
    const auto reply = [number = request.number, send = std::move(send)](Message values) {
        Message message; // member by member: a list in braces would copy each of them
        message["number"] = number;
        message["values"] = std::move(values);
        send(encodeMessage(message));
    };
    switch (request.signature->request) {
    case Request::fetchSnapshot:
        return object.fetchSnapshot([reply](const auto& data) { reply(Message::array({optionalData(data)})); });
    case Request::hold:
        return object.hold(request.arguments[0].get<double>(), request.arguments[1].get<bool>(),
                           [reply](const auto& error) { reply(Message::array({optionalText(error)})); });
    case Request::handBack:
        return object.handBack([reply](const auto& error) { reply(Message::array({optionalText(error)})); });
    case Request::helperVersion:
        return object.helperVersion([reply](std::int64_t version) { reply(Message::array({version})); });
    case Request::standDown:
        return object.standDown([reply] { reply(Message::array()); });
    }
}

std::vector<std::uint8_t> encode(std::uint64_t number, Request request, const Message& arguments) {
    return encodeMessage({{"number", number}, {"selector", signatureOf(request).selector}, {"arguments", arguments}});
}

std::optional<Message> decodeReply(std::span<const std::uint8_t> bytes, std::uint64_t number, Request request) {
    const auto message = decodeMessage(bytes);
    if (!message || member(*message, "number") != number ||
        !areOfTypes(member(*message, "values"), signatureOf(request).reply))
        return std::nullopt;
    return member(*message, "values");
}

} // namespace kelo::request_messages
