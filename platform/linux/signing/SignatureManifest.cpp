#include "platform/linux/signing/SignatureManifest.h"

#include <algorithm>
#include <charconv>

namespace kelo {
namespace {

constexpr std::string_view firstLine = "kelo code signature 1";

/// Takes the next line off `text` and returns what follows `prefix` in it. None when the line is not complete or starts
/// otherwise.
std::optional<std::string_view> takeLine(std::string_view& text, std::string_view prefix) {
    const auto end = text.find('\n');
    if (end == std::string_view::npos)
        return std::nullopt;
    const auto line = text.substr(0, end);
    text.remove_prefix(end + 1);
    if (!line.starts_with(prefix))
        return std::nullopt;
    return line.substr(prefix.size());
}

bool isSha256(std::string_view text) {
    return text.size() == 64 && text.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

/// Takes the first character off a UTF-8 text that is not empty. None when it does not begin with one.
std::optional<char32_t> takeCharacter(std::string_view& text) {
    const auto lead = static_cast<unsigned char>(text.front());
    const std::size_t size = lead < 0x80 ? 1 : lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    constexpr char32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};
    if ((lead >= 0x80 && lead < 0xC0) || lead >= 0xF8 || text.size() < size)
        return std::nullopt;
    char32_t character = size == 1 ? lead : lead & (0xFFU >> (size + 1));
    for (std::size_t i = 1; i < size; ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if ((byte & 0xC0) != 0x80)
            return std::nullopt;
        character = character << 6 | (byte & 0x3FU);
    }
    text.remove_prefix(size);
    const bool isSurrogate = character >= 0xD800 && character <= 0xDFFF;
    if (character < smallest[size] || isSurrogate || character > 0x10FFFF)
        return std::nullopt;
    return character;
}

/// Whether a character would end a line of a log, or make it read otherwise than it is: controls, line separators, and
/// the marks that change the direction of writing.
bool changesALine(char32_t c) {
    return c < 0x20 || (c >= 0x7F && c <= 0x9F) || c == 0x61C || c == 0x200E || c == 0x200F ||
           (c >= 0x2028 && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069);
}

} // namespace

bool SignatureManifest::isValidName(std::string_view name) {
    if (name.size() > maxNameSize)
        return false;
    while (!name.empty()) {
        const auto character = takeCharacter(name);
        if (!character || changesALine(*character))
            return false;
    }
    return true;
}

std::string SignatureManifest::text() const {
    return std::string(firstLine) + "\nidentifier " + identity.identifier + "\nteam " + identity.team + "\nlength " +
           std::to_string(length) + "\nsha256 " + sha256 + "\n";
}

std::optional<SignatureManifest> SignatureManifest::parse(std::string_view text) {
    auto rest = text;
    const auto first = takeLine(rest, firstLine);
    const auto identifier = takeLine(rest, "identifier ");
    const auto team = takeLine(rest, "team ");
    const auto length = takeLine(rest, "length ");
    const auto sha256 = takeLine(rest, "sha256 ");
    if (!first || !identifier || !team || !length || !sha256)
        return std::nullopt;
    if (!isValidName(*identifier) || !isValidName(*team) || !isSha256(*sha256))
        return std::nullopt;
    SignatureManifest manifest{{std::string(*identifier), std::string(*team)}, 0, std::string(*sha256)};
    const auto [end, error] = std::from_chars(length->data(), length->data() + length->size(), manifest.length);
    if (error != std::errc())
        return std::nullopt;
    // What is left is what reads alike but is written otherwise: a leading zero, something behind the number, a sixth
    // line.
    if (manifest.text() != text)
        return std::nullopt;
    return manifest;
}

} // namespace kelo
