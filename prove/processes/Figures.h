#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

namespace kelo {

/// The measured values of one quantity.
class Figures {
public:
    void add(double value) { values_.push_back(value); }
    std::size_t count() const { return values_.size(); }
    /// The smallest value that at least `percent` percent of the values do not exceed; 0 if there are no values.
    double percentile(double percent) const {
        if (values_.empty())
            return 0;
        auto sorted = values_;
        std::sort(sorted.begin(), sorted.end());
        const auto rank = static_cast<std::size_t>(std::ceil(percent / 100 * static_cast<double>(sorted.size())));
        return sorted[std::max<std::size_t>(rank, 1) - 1];
    }
    double worst() const { return percentile(100); }

private:
    std::vector<double> values_;
};

} // namespace kelo
