#pragma once

#include "core/hold/Clamshell.h"

namespace kelo {

/// The clamshell property of the root power domain in IOKit's registry.
class IOKitClamshell : public Clamshell {
public:
    ClamshellProperty clamshellState() override;
};

} // namespace kelo
