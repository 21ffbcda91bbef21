#pragma once

#include <string>
#include <vector>

namespace kelo {

/// Labels above a time line, each at the upper end of a vertical line that leads down to its moment.
struct Label {
    double x; ///< Of the line; the text begins there.
    std::string text;
    int row = 0; ///< 0 is the highest.
};

/// Gives each label a row, so that no text lies over another and no line runs through a text. `labels` are in the order
/// of their `x`. Returns the number of rows.
int arrange(std::vector<Label>& labels);

} // namespace kelo
