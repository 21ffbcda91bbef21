#pragma once

#include <string>
#include <vector>

#include "prove/faults/Run.h"

namespace kelo {

/// An activity of the daemon. `prepare` runs undisturbed; faults affect only `act`.
struct Scenario {
    std::string name;
    void (*prepare)(Run& run);
    void (*act)(Run& run);
    /// The number of times that each fan is handed back when the daemon exits: twice during a hold, otherwise once.
    int handBacksAtEnd;

    static const std::vector<Scenario>& all();
};

} // namespace kelo
