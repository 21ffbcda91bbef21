#pragma once

#include <functional>
#include <string>

namespace kelo {

class MainQueue;

/// Tells why peers were cut off, and goes on quietly when there are many: strangers are not to fill the log. How many
/// were left out is said at the end of the time in which they came. The queue's thread only.
class RefusalLog {
public:
    /// Lines within `period` seconds before the rest is only counted.
    static constexpr int maximumLines = 10;
    static constexpr double period = 10;

    /// `queue` is borrowed and outlives this. `write` takes one sentence.
    RefusalLog(MainQueue& queue, std::function<void(const std::string&)> write);

    void add(const std::string& reason);

private:
    void endPeriod();

    MainQueue& queue_;
    std::function<void(const std::string&)> write_;
    int refusals_ = 0; ///< Within the present period.
};

} // namespace kelo
