#include "simulator/tools/pictures/Labels.h"

#include <algorithm>

#include "simulator/tools/pictures/Svg.h"

namespace kelo {
namespace {

constexpr double gap = 8; // pixels

} // namespace

/// Places each label below every earlier label that extends past the new label's line. Lines run down, so the new line
/// crosses no earlier label. Earlier lines are to the left of the new label.
int arrange(std::vector<Label>& labels) {
    int rows = 0;
    for (std::size_t i = 0; i < labels.size(); ++i) {
        labels[i].row = 0;
        for (std::size_t j = 0; j < i; ++j)
            if (labels[j].x + Svg::widthOf(labels[j].text) + gap > labels[i].x)
                labels[i].row = std::max(labels[i].row, labels[j].row + 1);
        rows = std::max(rows, labels[i].row + 1);
    }
    return rows;
}

} // namespace kelo
