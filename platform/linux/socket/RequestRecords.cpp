#include "platform/linux/socket/RequestRecords.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <utility>

namespace kelo::request_records {
namespace {

static_assert(std::endian::native == std::endian::little, "the records are written as they are in memory");

struct RequestRecord {
    std::uint64_t number = 0;
    std::uint32_t request = 0; ///< The request's position in `requests::Any`, counted from 1.
    std::uint32_t flag = 0;
    double real = 0;
};
static_assert(sizeof(RequestRecord) == requestSize);

enum class Kind : std::uint32_t { none, integer, text, data };

struct ReplyHeader {
    std::uint64_t number = 0;
    Kind kind = Kind::none;
    std::uint32_t reserved = 0;
};
static_assert(sizeof(ReplyHeader) + maximumContent == maximumReplySize);

void put(RequestRecord& record, double argument) { record.real = argument; }
void put(RequestRecord& record, bool argument) { record.flag = argument ? 1 : 0; }

void get(const RequestRecord& record, double& argument) { argument = record.real; }
void get(const RequestRecord& record, bool& argument) { argument = record.flag != 0; }

template <typename Request>
Request requestIn(const RequestRecord& record) {
    auto arguments = Request().arguments();
    return std::apply(
        [&](auto&... argument) {
            (get(record, argument), ...);
            return Request{argument...};
        },
        arguments);
}

/// For each type of request, in order, a function that builds it from a record.
template <typename... Requests>
auto makersOf(const std::variant<Requests...>*) {
    using Maker = requests::Any (*)(const RequestRecord&);
    return std::array<Maker, sizeof...(Requests)>{
        [](const RequestRecord& record) -> requests::Any { return requestIn<Requests>(record); }...};
}

std::vector<std::uint8_t> makeReply(std::uint64_t number, Kind kind, const void* content, std::size_t size) {
    const ReplyHeader header{.number = number, .kind = kind};
    std::vector<std::uint8_t> message(sizeof header + std::min(size, maximumContent));
    std::memcpy(message.data(), &header, sizeof header);
    if (size > 0)
        std::memcpy(message.data() + sizeof header, content, message.size() - sizeof header);
    return message;
}

template <typename Content>
std::vector<std::uint8_t> makeReply(std::uint64_t number, Kind kind, const std::optional<Content>& content) {
    return content ? makeReply(number, kind, content->data(), content->size())
                   : makeReply(number, Kind::none, nullptr, 0);
}

/// Returns the content of a reply with this number and kind, nullopt for any other message.
std::optional<Bytes> contentOf(Bytes message, std::uint64_t number, Kind kind) {
    ReplyHeader header;
    if (message.size() < sizeof header || message.size() > maximumReplySize)
        return std::nullopt;
    std::memcpy(&header, message.data(), sizeof header);
    const auto content = message.subspan(sizeof header);
    const bool isWhole = kind != Kind::none || content.empty();
    const bool isAsExpected = header.number == number && header.kind == kind && header.reserved == 0;
    return isAsExpected && isWhole ? std::optional(content) : std::nullopt;
}

template <typename Content>
bool decodeContent(Bytes message, std::uint64_t number, Kind kind, std::optional<Content>& answer) {
    if (const auto content = contentOf(message, number, kind))
        answer.emplace(content->begin(), content->end());
    else if (contentOf(message, number, Kind::none))
        answer.reset();
    else
        return false;
    return true;
}

} // namespace

std::array<std::uint8_t, requestSize> encode(std::uint64_t number, const requests::Any& request) {
    RequestRecord record{.number = number, .request = static_cast<std::uint32_t>(request.index() + 1)};
    std::visit(
        [&](const auto& typed) {
            std::apply([&](auto... argument) { (put(record, argument), ...); }, typed.arguments());
        },
        request);
    return std::bit_cast<std::array<std::uint8_t, requestSize>>(record);
}

std::optional<IncomingRequest> decode(Bytes message) {
    RequestRecord record;
    if (message.size() != sizeof record)
        return std::nullopt;
    std::memcpy(&record, message.data(), sizeof record);
    static const auto makers = makersOf(static_cast<requests::Any*>(nullptr));
    if (record.request < 1 || record.request > makers.size())
        return std::nullopt;
    auto request = makers[record.request - 1](record);
    // Unused fields must be 0, and a flag must be 0 or 1.
    if (!std::ranges::equal(encode(record.number, request), message))
        return std::nullopt;
    return IncomingRequest{record.number, request};
}

std::vector<std::uint8_t> encodeAnswer(std::uint64_t number, const std::optional<Data>& answer) {
    return makeReply(number, Kind::data, answer);
}

std::vector<std::uint8_t> encodeAnswer(std::uint64_t number, const std::optional<std::string>& answer) {
    return makeReply(number, Kind::text, answer);
}

std::vector<std::uint8_t> encodeAnswer(std::uint64_t number, std::int64_t answer) {
    return makeReply(number, Kind::integer, &answer, sizeof answer);
}

std::vector<std::uint8_t> encodeAnswer(std::uint64_t number, requests::Nothing) {
    return makeReply(number, Kind::none, nullptr, 0);
}

bool decodeAnswer(Bytes message, std::uint64_t number, std::optional<Data>& answer) {
    return decodeContent(message, number, Kind::data, answer);
}

bool decodeAnswer(Bytes message, std::uint64_t number, std::optional<std::string>& answer) {
    return decodeContent(message, number, Kind::text, answer);
}

bool decodeAnswer(Bytes message, std::uint64_t number, std::int64_t& answer) {
    const auto content = contentOf(message, number, Kind::integer);
    if (!content || content->size() != sizeof answer)
        return false;
    std::memcpy(&answer, content->data(), sizeof answer);
    return true;
}

bool decodeAnswer(Bytes message, std::uint64_t number, requests::Nothing&) {
    return contentOf(message, number, Kind::none).has_value();
}

} // namespace kelo::request_records
