#include "prove/daemon/Tape.h"

#include <cstdio>
#include <utility>

namespace kelo {

std::string TapeEntry::text() const {
    char stamp[32];
    std::snprintf(stamp, sizeof stamp, "%12.6f  ", time);
    return stamp + (isExchange() ? smc.text() : event) + (isFaulted ? "  (fault)" : "");
}

void Tape::add(TapeEntry entry) {
    if (!isEnded_)
        entries_.push_back(std::move(entry));
}

} // namespace kelo
