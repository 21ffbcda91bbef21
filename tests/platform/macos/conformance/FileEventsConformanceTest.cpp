#include "tests/conformance/FileEventsConformance.h"

#include <filesystem>

#include "platform/macos/VnodeFileEvents.h"
#include "tests/conformance/RealFolder.h"
#include "tests/platform/macos/conformance/SystemUnderTest.h"

#ifdef __APPLE__
#include <mach-o/dyld.h>
#else
#include "tests/platform/macos/doubles/PosixDouble.h"
#endif

namespace kelo {
namespace {

class VnodeFileEventsHarness : public RealFolder {
public:
    FileEvents& fileEvents() { return fileEvents_; }
    void run() { runMainLoop(SystemUnderTest::unit); }
    // Runs the loop first: a watch reports only changes made after its registration, which takes a while.
    void rename(const std::string& from, const std::string& to) {
        run();
        RealFolder::rename(from, to);
    }
    void remove(const std::string& name) {
        run();
        RealFolder::remove(name);
    }

#ifdef __APPLE__
    std::string expectedOwnExecutable() {
        char path[4096] = {};
        std::uint32_t size = sizeof path;
        return _NSGetExecutablePath(path, &size) == 0 ? std::filesystem::canonical(path).string() : "";
    }
#else
    std::string expectedOwnExecutable() {
        doubles::setOwnPath("/Library/PrivilegedHelperTools/app.kelo.helper");
        return "/Library/PrivilegedHelperTools/app.kelo.helper";
    }
#endif

private:
    [[maybe_unused]] SystemUnderTest system_;
    DispatchMainQueue queue_;
    VnodeFileEvents fileEvents_;
};

INSTANTIATE_TYPED_TEST_SUITE_P(MacOS, FileEventsConformance, VnodeFileEventsHarness);

} // namespace
} // namespace kelo
