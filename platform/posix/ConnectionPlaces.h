#pragma once

#include <sys/types.h>

#include <cstddef>
#include <map>
#include <memory>
#include <mutex>

namespace kelo {

/// The places for connections: a process that opens one after another leaves some for others. Any thread.
class ConnectionPlaces : public std::enable_shared_from_this<ConnectionPlaces> {
public:
    static constexpr std::size_t maximum = 256;
    static constexpr std::size_t maximumOfProcess = 32;

    /// One place, taken until this is destroyed.
    using Place = std::shared_ptr<const void>;

    /// Null when there is none left for this process.
    Place take(pid_t process);

private:
    void giveBack(pid_t process);

    std::mutex mutex_;
    std::map<pid_t, std::size_t> taken_; ///< By process; none has 0.
    std::size_t total_ = 0;
};

} // namespace kelo
