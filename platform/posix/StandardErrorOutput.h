#pragma once

#include <chrono>

#include "helper/LogOutput.h"
#include "platform/posix/StandardStreams.h"

namespace kelo {

class StandardErrorOutput : public LogOutput {
public:
    double wallClock() override {
        return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
    }
    void writeStandardError(const std::string& bytes) override { StandardStreams::writeError(bytes); }
};

} // namespace kelo
