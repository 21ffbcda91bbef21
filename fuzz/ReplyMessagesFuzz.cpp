// The input as a message that a helper sends to its client, in reply to each of the requests.

#include "fuzz/FuzzTarget.h"
#include "platform/linux/socket/RequestMessages.h"

namespace {

using kelo::Message;
using kelo::mustHold;
using kelo::WireType;
namespace messages = kelo::request_messages;

constexpr std::uint64_t number = 1; // of the request

/// What the client takes the value for, without looking again.
void use(const Message& value, WireType type) {
    if (type == WireType::integer)
        value.get<std::int64_t>();
    else if (!value.is_null() && type == WireType::optionalText)
        value.get<std::string>();
    else if (!value.is_null() && type == WireType::optionalData)
        value.get_binary();
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::vector<std::uint8_t> bytes(data, data + size);
    for (const auto& signature : kelo::requestTable) {
        const auto values = messages::decodeReply(bytes, number, signature.request);
        if (!values)
            continue;
        mustHold(values->size() == signature.reply.size(), "a reply has the values of its request");
        auto value = values->begin();
        for (const auto type : signature.reply)
            use(*value++, type);
    }
    return 0;
}
