#pragma once

#include "core/fan/Rights.h"

namespace kelo {

/// Rights that a test grants and revokes.
class ScriptedRights : public Rights {
public:
    bool isRoot() override { return root; }

    bool root = true;
};

} // namespace kelo
