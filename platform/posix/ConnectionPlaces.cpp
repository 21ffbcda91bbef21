#include "platform/posix/ConnectionPlaces.h"

namespace kelo {

ConnectionPlaces::Place ConnectionPlaces::take(pid_t process) {
    {
        const std::lock_guard lock(mutex_);
        const auto found = taken_.find(process);
        if (total_ == limits_.total || (found != taken_.end() && found->second == limits_.ofProcess))
            return nullptr;
        ++taken_[process];
        ++total_;
    }
    return {this, [places = shared_from_this(), process](const void*) { places->giveBack(process); }};
}

void ConnectionPlaces::giveBack(pid_t process) {
    const std::lock_guard lock(mutex_);
    const auto found = taken_.find(process);
    if (--found->second == 0)
        taken_.erase(found);
    --total_;
}

} // namespace kelo
