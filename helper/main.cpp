#include <cstdio>
#include <exception>
#include <memory>
#include <optional>

#include "helper/HelperProcess.h"
#include "helper/Platform.h"

/// The daemon takes no arguments and reads no environment and no configuration.
int main() {
    std::shared_ptr<const kelo::Platform> platform;
    std::optional<kelo::HelperProcess> process;
    try {
        platform = kelo::makePlatform();
        process.emplace(*platform);
    } catch (const std::exception& error) {
        // Without even a main loop there is nothing to stay up for, and no fan has been taken.
        std::fprintf(stderr, "[ERROR] listener: The system refuses what the helper cannot do without (%s).\n",
                     error.what());
        return 0;
    }
    process->start();
    platform->runMainLoop();
    return 0;
}
