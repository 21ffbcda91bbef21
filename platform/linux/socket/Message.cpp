#include "platform/linux/socket/Message.h"

namespace kelo {
namespace {

/// Looks through the bytes without building anything. The library's parser calls itself for each level of nesting, and
/// would go as deep as a peer likes.
class NestingLimit : public nlohmann::json_sax<Message> {
public:
    bool null() override { return true; }
    bool boolean(bool) override { return true; }
    bool number_integer(number_integer_t) override { return true; }
    bool number_unsigned(number_unsigned_t) override { return true; }
    bool number_float(number_float_t, const string_t&) override { return true; }
    bool string(string_t&) override { return true; }
    bool binary(binary_t&) override { return true; }
    bool key(string_t&) override { return true; }
    bool start_object(std::size_t) override { return ++depth_ <= maximumDepth; }
    bool end_object() override { return leave(); }
    bool start_array(std::size_t) override { return ++depth_ <= maximumDepth; }
    bool end_array() override { return leave(); }
    bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception&) override { return false; }

private:
    static constexpr int maximumDepth = 8;

    bool leave() {
        --depth_;
        return true;
    }

    int depth_ = 0;
};

} // namespace

std::vector<std::uint8_t> encodeMessage(const Message& message) { return Message::to_cbor(message); }

std::optional<Message> decodeMessage(const std::vector<std::uint8_t>& bytes) {
    NestingLimit limit;
    if (!Message::sax_parse(bytes, &limit, nlohmann::detail::input_format_t::cbor))
        return std::nullopt;
    auto message = Message::from_cbor(bytes, true, false);
    if (!message.is_object())
        return std::nullopt;
    return message;
}

} // namespace kelo
