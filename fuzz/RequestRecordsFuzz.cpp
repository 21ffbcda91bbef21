// Decodes the input as a message on the service's socket, first as a client's request, then as a helper's answer.

#include <algorithm>

#include "fuzz/FuzzTarget.h"
#include "platform/linux/socket/RequestRecords.h"

namespace {

using kelo::mustHold;
namespace records = kelo::request_records;

constexpr std::uint64_t number = 1; // request number

template <typename Request>
void readAsAnswer(records::Bytes message) {
    typename Request::Answer answer{};
    if (records::decodeAnswer(message, number, answer))
        mustHold(std::ranges::equal(records::encodeAnswer(number, answer), message), "an answer has one form");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const records::Bytes message(data, size);
    if (const auto incoming = records::decode(message))
        mustHold(std::ranges::equal(records::encode(incoming->number, incoming->request), message),
                 "a request has one form");
    readAsAnswer<kelo::requests::FetchSnapshot>(message);
    readAsAnswer<kelo::requests::Hold>(message);
    readAsAnswer<kelo::requests::HelperVersion>(message);
    readAsAnswer<kelo::requests::StandDown>(message);
    return 0;
}
