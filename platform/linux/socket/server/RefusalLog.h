#pragma once

#include <functional>
#include <string>

namespace kelo {

class MainQueue;

/// Logs the reasons why peers were cut off, at a limited rate so that unknown peers cannot fill the log. Logs the
/// number of omitted refusals at the end of each period. Queue thread only.
class RefusalLog {
public:
    /// The maximum number of refusals logged per `period` seconds; further refusals are only counted.
    static constexpr int maximumLines = 10;
    static constexpr double period = 10;

    /// `queue` is borrowed and must outlive this object. `write` logs one sentence.
    RefusalLog(MainQueue& queue, std::function<void(const std::string&)> write);

    void add(const std::string& reason);

private:
    void endPeriod();

    MainQueue& queue_;
    std::function<void(const std::string&)> write_;
    int refusals_ = 0; ///< Within the current period.
};

} // namespace kelo
