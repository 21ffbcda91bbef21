#include "platform/linux/socket/Message.h"

#include <array>

namespace kelo {
namespace {

/// What most messages fit into, so that their bytes are not moved again and again while there come to be more of them.
constexpr std::size_t usualSize = 256;

/// Looks through the bytes before the library does. Its parser is recursive, for texts in pieces too, so a peer would
/// decide how deep it goes; and of two members with the same name it silently keeps one, which is why they are counted.
/// What the library's encoder never writes, indefinite lengths and tags, does not pass.
class Inspection {
public:
    explicit Inspection(std::span<const std::uint8_t> bytes) : left_(bytes) {}

    /// Whether the bytes are one item, no deeper than allowed.
    bool passes() {
        while (true) {
            while (levels_[depth_].awaited == 0) {
                if (depth_ == 0)
                    return left_.empty();
                --depth_;
            }
            if (!takeItem())
                return false;
        }
    }

    /// In all maps.
    std::uint64_t names() const { return names_; }

private:
    static constexpr std::size_t maximumDepth = 8;

    enum class Kind : std::uint8_t { positive, negative, bytes, text, array, map, tag, simple };
    struct Head {
        Kind kind;
        std::uint64_t number; ///< A value, a length or a count.
    };
    /// An array or a map that is open.
    struct Level {
        std::uint64_t awaited = 0; ///< Items that are still to come; names are items.
        bool isMap = false;
    };

    /// The next item, but not what is in it.
    bool takeItem() {
        auto& level = levels_[depth_];
        const bool isName = level.isMap && level.awaited % 2 == 0;
        --level.awaited;
        const auto head = takeHead();
        if (!head)
            return false;
        if (isName && head->kind != Kind::text)
            return false;
        switch (head->kind) {
        case Kind::bytes:
        case Kind::text:
            return take(head->number).has_value();
        case Kind::array:
        case Kind::map:
            return enter(head->kind == Kind::map, head->number);
        case Kind::tag:
            return false;
        default:
            return true;
        }
    }

    std::optional<Head> takeHead() {
        const auto first = take(1);
        if (!first)
            return std::nullopt;
        const auto kind = static_cast<Kind>(first->front() >> 5);
        const unsigned size = first->front() & 0x1F;
        if (size < 24)
            return Head{kind, size};
        if (size > 27) // an indefinite length among others
            return std::nullopt;
        const auto bytes = take(1U << (size - 24));
        if (!bytes)
            return std::nullopt;
        std::uint64_t number = 0;
        for (const auto byte : *bytes)
            number = number << 8 | byte;
        return Head{kind, number};
    }

    std::optional<std::span<const std::uint8_t>> take(std::uint64_t length) {
        if (length > left_.size())
            return std::nullopt;
        const auto taken = left_.first(length);
        left_ = left_.subspan(length);
        return taken;
    }

    bool enter(bool isMap, std::uint64_t count) {
        // An item takes a byte at least, so that twice a count that can be is a number that can be.
        if (depth_ == maximumDepth || count > left_.size())
            return false;
        levels_[++depth_] = {isMap ? 2 * count : count, isMap};
        names_ += isMap ? count : 0;
        return true;
    }

    std::span<const std::uint8_t> left_;
    std::array<Level, maximumDepth + 1> levels_{Level{1, false}}; ///< The first awaits the whole message.
    std::size_t depth_ = 0;
    std::uint64_t names_ = 0;
};

/// In all maps.
std::uint64_t namesIn(const Message& value) {
    if (!value.is_structured())
        return 0;
    std::uint64_t names = value.is_object() ? value.size() : 0;
    for (const auto& item : value)
        names += namesIn(item);
    return names;
}

} // namespace

std::vector<std::uint8_t> encodeMessage(const Message& message) {
    std::vector<std::uint8_t> bytes;
    bytes.reserve(usualSize);
    Message::to_cbor(message, bytes);
    return bytes;
}

std::optional<Message> decodeMessage(std::span<const std::uint8_t> bytes) {
    Inspection inspection(bytes);
    if (!inspection.passes())
        return std::nullopt;
    auto message = Message::from_cbor(bytes, true, false);
    if (!message.is_object() || namesIn(message) != inspection.names())
        return std::nullopt;
    return message;
}

} // namespace kelo
