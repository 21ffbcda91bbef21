#pragma once

#include <string>
#include <vector>

namespace kelo {

/// A label above a timeline, at the upper end of a vertical line that runs down to its time.
struct Label {
    double x; ///< x of the line; the text starts there.
    std::string text;
    int row = 0; ///< 0 is the highest.
};

/// Assigns rows so that no label overlaps another and no line crosses a label. `labels` must be sorted by `x`. Returns
/// the number of rows.
int arrange(std::vector<Label>& labels);

} // namespace kelo
