#include <cstdio>
#include <exception>
#include <memory>
#include <optional>

#include "helper/HelperProcess.h"
#include "helper/Platform.h"

/// The daemon takes no arguments and reads neither environment variables nor configuration files.
int main() {
    std::shared_ptr<const kelo::Platform> platform;
    std::optional<kelo::HelperProcess> process;
    try {
        platform = kelo::makePlatform();
        process.emplace(*platform);
    } catch (const std::exception& error) {
        // The process cannot run without its platform. No fan has been taken yet.
        std::fprintf(stderr, "[ERROR] listener: The system refused a resource that the helper needs (%s).\n",
                     error.what());
        return 0;
    }
    process->start();
    platform->runMainLoop();
    return 0;
}
