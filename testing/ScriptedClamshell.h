#pragma once

#include <functional>

#include "core/hold/Clamshell.h"

namespace kelo {

/// A lid that a test opens and closes.
class ScriptedClamshell : public Clamshell {
public:
    ClamshellProperty state = false;
    std::function<void()> onQuery = [] {};

    ClamshellProperty clamshellState() override {
        onQuery();
        return state;
    }
};

} // namespace kelo
