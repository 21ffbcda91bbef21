#include "platform/linux/socket/Message.h"

#include <bit>
#include <limits>
#include <string>
#include <utility>

namespace kelo {
namespace {

/// What most messages fit into, so that their bytes are not moved again and again while there come to be more of them.
constexpr std::size_t usualSize = 256;

/// Reads what the library's encoder writes. Its own decoder is recursive, for texts in pieces too, so a peer would
/// decide how deep it goes; and of two members with the same name it would silently keep one.
class Decoder {
public:
    explicit Decoder(std::span<const std::uint8_t> bytes) : left_(bytes) {}

    /// Whether the bytes are one item and nothing else. Then it is in `item`.
    bool decode(Message& item) { return takeItem(item, 0) && left_.empty(); }

private:
    static constexpr std::size_t maximumDepth = 8;

    enum class Kind : std::uint8_t { positive, negative, bytes, text, array, map, tag, simple };
    struct Head {
        Kind kind;
        unsigned size;        ///< Of the number, in bytes; 0 for a small one, which is in the head itself.
        std::uint64_t number; ///< A value, a length or a count.
    };

    bool takeItem(Message& item, std::size_t depth) {
        const auto head = takeHead();
        if (!head)
            return false;
        switch (head->kind) {
        case Kind::positive:
            item = head->number;
            return true;
        case Kind::negative:
            item = -1 - static_cast<std::int64_t>(head->number);
            return head->number <= std::numeric_limits<std::int64_t>::max();
        case Kind::bytes:
            return takeBytes(item, head->number);
        case Kind::text:
            item = std::string();
            return takeText(item.get_ref<std::string&>(), head->number);
        case Kind::array:
            return takeArray(item, head->number, depth);
        case Kind::map:
            return takeMap(item, head->number, depth);
        case Kind::tag:
            return false;
        case Kind::simple:
            return head->size == 0 ? setConstant(item, head->number) : setReal(item, *head);
        }
        return false;
    }

    std::optional<Head> takeHead() {
        const auto first = take(1);
        if (!first)
            return std::nullopt;
        const auto kind = static_cast<Kind>(first->front() >> 5);
        const unsigned mark = first->front() & 0x1F;
        if (mark < 24)
            return Head{kind, 0, mark};
        if (mark > 27) // an indefinite length among others
            return std::nullopt;
        const auto size = 1U << (mark - 24);
        const auto bytes = take(size);
        if (!bytes)
            return std::nullopt;
        std::uint64_t number = 0;
        for (const auto byte : *bytes)
            number = number << 8 | byte;
        return Head{kind, size, number};
    }

    bool takeBytes(Message& item, std::uint64_t length) {
        const auto bytes = take(length);
        if (bytes)
            item = Message::binary({bytes->begin(), bytes->end()});
        return bytes.has_value();
    }

    bool takeText(std::string& text, std::uint64_t length) {
        const auto bytes = take(length);
        if (bytes)
            text.assign(bytes->begin(), bytes->end());
        return bytes.has_value();
    }

    /// `count` may be a lie: nothing is set aside for what has not come.
    bool takeArray(Message& item, std::uint64_t count, std::size_t depth) {
        item = Message::array();
        if (depth == maximumDepth)
            return false;
        for (; count > 0; --count)
            if (!takeItem(item.emplace_back(), depth + 1))
                return false;
        return true;
    }

    bool takeMap(Message& item, std::uint64_t count, std::size_t depth) {
        item = Message::object();
        if (depth == maximumDepth)
            return false;
        for (; count > 0; --count) {
            const auto head = takeHead();
            std::string name;
            if (!head || head->kind != Kind::text || !takeText(name, head->number))
                return false;
            const auto [member, isNew] = item.emplace(std::move(name), nullptr);
            if (!isNew || !takeItem(*member, depth + 1))
                return false;
        }
        return true;
    }

    static bool setConstant(Message& item, std::uint64_t number) {
        switch (number) {
        case 20:
        case 21:
            item = number == 21;
            return true;
        case 22:
            item = nullptr;
            return true;
        default:
            return false;
        }
    }

    static bool setReal(Message& item, const Head& head) {
        switch (head.size) {
        case 2:
            return setShortReal(item, head.number);
        case 4:
            item = std::bit_cast<float>(static_cast<std::uint32_t>(head.number));
            return true;
        case 8:
            item = std::bit_cast<double>(head.number);
            return true;
        default:
            return false;
        }
    }

    /// The encoder writes only what is no number as shortly as this.
    static bool setShortReal(Message& item, std::uint64_t bits) {
        switch (bits) {
        case 0x7C00:
            item = std::numeric_limits<double>::infinity();
            return true;
        case 0xFC00:
            item = -std::numeric_limits<double>::infinity();
            return true;
        case 0x7E00:
            item = std::numeric_limits<double>::quiet_NaN();
            return true;
        default:
            return false;
        }
    }

    std::optional<std::span<const std::uint8_t>> take(std::uint64_t length) {
        if (length > left_.size())
            return std::nullopt;
        const auto taken = left_.first(length);
        left_ = left_.subspan(length);
        return taken;
    }

    std::span<const std::uint8_t> left_;
};

} // namespace

std::vector<std::uint8_t> encodeMessage(const Message& message) {
    std::vector<std::uint8_t> bytes;
    bytes.reserve(usualSize);
    Message::to_cbor(message, bytes);
    return bytes;
}

std::optional<Message> decodeMessage(std::span<const std::uint8_t> bytes) {
    std::optional<Message> message(std::in_place);
    if (!Decoder(bytes).decode(*message) || !message->is_object())
        message.reset();
    return message;
}

} // namespace kelo
