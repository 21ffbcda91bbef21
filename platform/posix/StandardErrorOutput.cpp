#include "platform/posix/StandardErrorOutput.h"

#include <chrono>

#include "platform/posix/StandardStreams.h"

namespace kelo {

double StandardErrorOutput::wallClock() {
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

void StandardErrorOutput::writeStandardError(const std::string& bytes) { StandardStreams::writeError(bytes); }

} // namespace kelo
