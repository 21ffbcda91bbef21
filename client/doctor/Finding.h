#pragma once

#include <string>
#include <vector>

namespace kelo {

enum class Verdict {
    good,
    note, ///< Worth knowing, and no fault.
    bad
};

/// What the doctor has found about one subject.
struct Finding {
    Verdict verdict;
    std::string subject; ///< In one or two words.
    std::string text;    ///< One line or several.
    std::string advice;  ///< What to do about it; may be empty.
};

using Findings = std::vector<Finding>;

} // namespace kelo
