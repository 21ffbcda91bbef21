#pragma once

#include <vector>

namespace kelo {

/// What has been measured many times.
class Figures {
public:
    void add(double value) { values_.push_back(value); }
    std::size_t count() const { return values_.size(); }
    /// The smallest value that so many percent of all do not exceed; 0 when there is none.
    double percentile(double percent) const;
    double worst() const { return percentile(100); }

private:
    std::vector<double> values_;
};

} // namespace kelo
