#pragma once

#include "helper/LogOutput.h"

namespace kelo {

/// The process's standard error and the system's wall clock.
class StandardErrorOutput : public LogOutput {
public:
    double wallClock() override;
    void writeStandardError(const std::string& bytes) override;
};

} // namespace kelo
