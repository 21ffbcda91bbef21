#pragma once

#include <array>
#include <cstddef>
#include <initializer_list>
#include <string_view>

namespace kelo {

/// What travels with a request or its reply.
enum class WireType { real, boolean, integer, optionalText, optionalData };

/// A short list of types, as a constant.
class WireTypes {
public:
    constexpr WireTypes(std::initializer_list<WireType> types) {
        for (const auto type : types)
            types_[count_++] = type;
    }
    constexpr const WireType* begin() const { return types_.data(); }
    constexpr const WireType* end() const { return types_.data() + count_; }
    constexpr std::size_t size() const { return count_; }

private:
    std::array<WireType, 2> types_{};
    std::size_t count_ = 0;
};

/// The five requests, in the protocol's order.
enum class Request { fetchSnapshot, hold, handBack, helperVersion, standDown };

/// What a request looks like on any transport: selector, arguments before the reply, values of the reply.
struct RequestSignature {
    Request request;
    std::string_view selector;
    WireTypes arguments;
    WireTypes reply;
};

inline constexpr std::array<RequestSignature, 5> requestTable = {{
    {Request::fetchSnapshot, "fetchSnapshotWithReply:", {}, {WireType::optionalData}},
    {Request::hold,
     "holdWithFraction:handsBackOnLidClose:reply:",
     {WireType::real, WireType::boolean},
     {WireType::optionalText}},
    {Request::handBack, "handBackWithReply:", {}, {WireType::optionalText}},
    {Request::helperVersion, "helperVersionWithReply:", {}, {WireType::integer}},
    {Request::standDown, "standDownWithReply:", {}, {}},
}};

/// Whether each request stands in the table at its own place.
constexpr bool isRequestTableInOrder() {
    for (std::size_t i = 0; i < requestTable.size(); ++i)
        if (requestTable[i].request != static_cast<Request>(i))
            return false;
    return true;
}
static_assert(isRequestTableInOrder(), "the rows are found by the number of their request");

constexpr const RequestSignature& signatureOf(Request request) {
    return requestTable[static_cast<std::size_t>(request)];
}

/// None for a selector that is not in the table.
constexpr const RequestSignature* signatureWith(std::string_view selector) {
    for (const auto& signature : requestTable)
        if (signature.selector == selector)
            return &signature;
    return nullptr;
}

} // namespace kelo
