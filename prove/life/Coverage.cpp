#include "prove/life/Coverage.h"

#include <cctype>
#include <cstdio>

namespace kelo {
namespace {

bool isOfNumber(char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; }

/// With # for each number.
std::string withoutNumbers(const std::string& text) {
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (!isOfNumber(text[i])) {
            plain += text[i];
            continue;
        }
        while (i + 1 < text.size() && (isOfNumber(text[i + 1]) || text[i + 1] == '.' || text[i + 1] == 'e'))
            ++i;
        plain += '#';
    }
    return plain;
}

} // namespace

void Coverage::see(const std::vector<TapeEntry>& events) {
    for (const auto& entry : events) {
        if (entry.isExchange())
            seeExchange(entry);
        else
            ++events_[withoutNumbers(entry.event)];
    }
}

void Coverage::seeExchange(const TapeEntry& entry) {
    ++events_[entry.smc.reply ? entry.smc.reply->result == 0 ? "exchange: done" : "exchange: refused"
                              : "exchange: failed"];
}

int Coverage::print() const {
    int missing = 0;
    for (int action = 0; action < Input::actions; ++action)
        std::printf("%12llu  %s\n", static_cast<unsigned long long>(inputs_[static_cast<std::size_t>(action)]),
                    Input::name(static_cast<Input::Action>(action)));
    for (const auto& [text, count] : events_)
        std::printf("%12llu  %s\n", static_cast<unsigned long long>(count), text.c_str());
    return missing;
}

} // namespace kelo
