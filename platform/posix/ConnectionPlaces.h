#pragma once

#include <sys/types.h>

#include <cstddef>
#include <map>
#include <memory>
#include <mutex>

namespace kelo {

/// How many places there are for connections.
struct PlaceLimits {
    std::size_t total = 256;
    std::size_t ofProcess = 32;
};

/// The places for connections: a process that opens one after another leaves some for others. Any thread.
class ConnectionPlaces : public std::enable_shared_from_this<ConnectionPlaces> {
public:
    explicit ConnectionPlaces(const PlaceLimits& limits = {}) : limits_(limits) {}

    /// One place, taken until this is destroyed.
    using Place = std::shared_ptr<const void>;

    /// Null when there is none left for this process.
    Place take(pid_t process);

private:
    void giveBack(pid_t process);

    const PlaceLimits limits_;
    std::mutex mutex_;
    std::map<pid_t, std::size_t> taken_; ///< By process; none has 0.
    std::size_t total_ = 0;
};

} // namespace kelo
