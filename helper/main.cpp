#include "helper/HelperProcess.h"
#include "helper/Platform.h"

/// The daemon takes no arguments and reads no environment and no configuration.
int main() {
    const auto platform = kelo::makePlatform();
    kelo::HelperProcess process(*platform);
    process.start();
    platform->runMainLoop();
    return 0;
}
