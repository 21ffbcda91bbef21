#include "platform/posix/StandardErrorOutput.h"

#include <fcntl.h>
#include <unistd.h>

#include <ctime>

#include "platform/posix/FileDescriptor.h"
#include "testing/TemporaryFolder.h"
#include "tests/conformance/LogOutputConformance.h"

namespace kelo {
namespace {

/// Redirects standard error to a file during a test.
class StandardErrorHarness {
public:
    StandardErrorHarness() {
        const FileDescriptor file(open(file_.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600));
        dup2(file.get(), STDERR_FILENO);
    }
    ~StandardErrorHarness() { dup2(own_.get(), STDERR_FILENO); }

    LogOutput& output() { return output_; }
    std::string written() { return readFile(file_); }
    double wallClock() {
        timespec now = {};
        clock_gettime(CLOCK_REALTIME, &now);
        return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
    }

private:
    TemporaryFolder folder_;
    std::filesystem::path file_ = folder_ / "standard error";
    FileDescriptor own_{dup(STDERR_FILENO)};
    StandardErrorOutput output_;
};

INSTANTIATE_TYPED_TEST_SUITE_P(Posix, LogOutputConformance, StandardErrorHarness);

} // namespace
} // namespace kelo
