#include "prove/life/Shrink.h"

#include <algorithm>

namespace kelo {
namespace {

Script without(const Script& script, std::size_t begin, std::size_t count) {
    Script rest(script.begin(), script.begin() + static_cast<std::ptrdiff_t>(begin));
    rest.insert(rest.end(), script.begin() + static_cast<std::ptrdiff_t>(std::min(begin + count, script.size())),
                script.end());
    return rest;
}

} // namespace

Script shrunk(Script script, const std::function<bool(const Script&)>& fails) {
    for (auto count = std::max<std::size_t>(script.size() / 2, 1);;) {
        bool isShorter = false;
        for (std::size_t begin = 0; begin < script.size();) {
            if (auto rest = without(script, begin, count); fails(rest)) {
                script = std::move(rest);
                isShorter = true;
            } else {
                begin += count;
            }
        }
        if (count == 1 && !isShorter)
            return script;
        count = std::max<std::size_t>(count / 2, 1);
    }
}

} // namespace kelo
