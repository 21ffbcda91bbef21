#include "platform/linux/socket/Message.h"

#include <set>
#include <string>

namespace kelo {
namespace {

/// Looks through the bytes without building anything. The library's parser is recursive, so a peer would decide how
/// deep it goes; and of two members with the same name it would silently keep one.
class WellFormed : public nlohmann::json_sax<Message> {
public:
    bool null() override { return true; }
    bool boolean(bool) override { return true; }
    bool number_integer(number_integer_t) override { return true; }
    bool number_unsigned(number_unsigned_t) override { return true; }
    bool number_float(number_float_t, const string_t&) override { return true; }
    bool string(string_t&) override { return true; }
    bool binary(binary_t&) override { return true; }
    bool key(string_t& name) override { return keys_.back().insert(name).second; }
    bool start_object(std::size_t) override { return enter(); }
    bool end_object() override { return leave(); }
    bool start_array(std::size_t) override { return enter(); }
    bool end_array() override { return leave(); }
    bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception&) override { return false; }

private:
    static constexpr std::size_t maximumDepth = 8;

    bool enter() {
        keys_.emplace_back();
        return keys_.size() <= maximumDepth;
    }
    bool leave() {
        keys_.pop_back();
        return true;
    }

    std::vector<std::set<std::string>> keys_; ///< Of each map that is open; none for an array.
};

} // namespace

std::vector<std::uint8_t> encodeMessage(const Message& message) { return Message::to_cbor(message); }

std::optional<Message> decodeMessage(const std::vector<std::uint8_t>& bytes) {
    WellFormed check;
    if (!Message::sax_parse(bytes, &check, nlohmann::detail::input_format_t::cbor))
        return std::nullopt;
    auto message = Message::from_cbor(bytes, true, false);
    if (!message.is_object())
        return std::nullopt;
    return message;
}

} // namespace kelo
