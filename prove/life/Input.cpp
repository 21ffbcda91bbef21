#include "prove/life/Input.h"

#include <charconv>
#include <cstdlib>
#include <iterator>
#include <sstream>
#include <vector>

namespace kelo {
namespace {

/// Names in the order of the actions.
const std::vector<std::string>& names() {
    static const std::vector<std::string> all = [] {
        std::istringstream text(
            "machine slowExchange noController unsigned unknownPath unidentifiedFile unwatchableFile start "
            "pass busy blocked connect interrupt invalidate snapshot hold handBack version standDown lid "
            "powerDomain canSleep willSleep poweredOn root chip value type sizeLie remove restore unlockRule "
            "fault noFault replaceFile deleteFile putFileBack fileEvent signal");
        return std::vector<std::string>(std::istream_iterator<std::string>(text), {});
    }();
    return all;
}

/// The shortest text that converts back to the same number.
std::string textOf(double number) {
    char text[32];
    return {text, std::to_chars(text, text + sizeof text, number).ptr};
}

/// Whether the whole word is a number, including infinity and NaN.
bool isNumber(const std::string& word, double& number) {
    char* end = nullptr;
    number = std::strtod(word.c_str(), &end);
    return *end == '\0';
}

} // namespace

const char* Input::name(Action action) { return names().at(static_cast<std::size_t>(action)).c_str(); }

std::string Input::text() const {
    std::string text = name(action);
    const bool hasZ = z != 0;
    const bool hasY = hasZ || y != 0;
    if (hasY || x != 0)
        text += " " + textOf(x);
    if (hasY)
        text += " " + textOf(y);
    if (hasZ)
        text += " " + textOf(z);
    return text;
}

std::optional<Input> Input::fromText(const std::string& text) {
    std::istringstream words(text);
    std::string name;
    words >> name;
    for (int action = 0; action < actions; ++action) {
        if (name != names().at(static_cast<std::size_t>(action)))
            continue;
        Input input{static_cast<Action>(action)};
        std::string word;
        for (auto* number : {&input.x, &input.y, &input.z})
            if (words >> word && !isNumber(word, *number))
                return std::nullopt;
        return words >> word ? std::nullopt : std::optional(input);
    }
    return std::nullopt;
}

} // namespace kelo
