#pragma once

#include <unistd.h>

#include "core/fan/Rights.h"

namespace kelo {

/// The superuser's rights.
class PosixRights : public Rights {
public:
    bool isRoot() override { return geteuid() == 0; }
};

} // namespace kelo
