#pragma once

#include <string>
#include <vector>

#include "prove/faults/Run.h"

namespace kelo {

/// Something that the daemon does, in two parts: what leads to it goes undisturbed, and faults meet the rest.
struct Scenario {
    std::string name;
    void (*prepare)(Run& run);
    void (*act)(Run& run);
    /// How often each fan is handed back on the way out: a hold hands back by itself, and the way out always does.
    int handBacksAtEnd;

    static const std::vector<Scenario>& all();
};

} // namespace kelo
