// Runs the helper with a higher client limit, to measure how the cost of a request depends on the number of clients. In
// all other respects, this main is the same as the helper's.

#include "helper/HelperProcess.h"
#include "platform/linux/LinuxPlatform.h"
#include "platform/posix/StandardStreams.h"

int main() {
    kelo::StandardStreams::prepare();
    const kelo::LinuxPlatform platform({.total = 2000, .ofProcess = 2000, .ofUser = 2000, .ofOthers = 2000});
    kelo::HelperProcess process(platform.platform());
    process.start();
    platform.platform().runMainLoop();
}
