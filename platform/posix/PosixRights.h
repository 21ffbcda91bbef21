#pragma once

#include <unistd.h>

#include "core/fan/Rights.h"

namespace kelo {

class PosixRights : public Rights {
public:
    bool isRoot() override { return geteuid() == 0; }
};

} // namespace kelo
