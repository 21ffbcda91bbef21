// The helper with places for more clients than it lets in otherwise, to see how what a request costs depends on how
// many clients there are. Its main is otherwise the helper's own.

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
