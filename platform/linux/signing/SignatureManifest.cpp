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

} // namespace

bool SignatureManifest::isValidName(std::string_view name) {
    const auto isControl = [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return byte < 0x20 || byte == 0x7F;
    };
    return name.size() <= maxNameSize && std::none_of(name.begin(), name.end(), isControl);
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
