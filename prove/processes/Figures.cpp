#include "prove/processes/Figures.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace kelo {

double Figures::percentile(double percent) const {
    if (values_.empty())
        return 0;
    auto sorted = values_;
    std::sort(sorted.begin(), sorted.end());
    const auto rank = static_cast<std::size_t>(std::ceil(percent / 100 * static_cast<double>(sorted.size())));
    return sorted[std::max<std::size_t>(rank, 1) - 1];
}

} // namespace kelo
