#include "simulator/tools/simsign/ReplacementFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <system_error>
#include <utility>

#include "simulator/tools/simsign/SigningFailed.h"

namespace kelo {

ReplacementFile::ReplacementFile(std::filesystem::path target)
    : target_(std::move(target)), temporary_(target_.parent_path() / ".signing-XXXXXX"),
      file_(::mkostemp(temporary_.data(), O_CLOEXEC)) {
    if (!file_.isValid())
        fail();
}

ReplacementFile::~ReplacementFile() {
    if (!temporary_.empty())
        ::unlink(temporary_.c_str()); // on failure, the file stays under its temporary name
}

void ReplacementFile::write(std::span<const std::uint8_t> bytes) {
    while (!bytes.empty()) {
        const auto count = ::write(file_.get(), bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            fail();
        bytes = bytes.subspan(static_cast<std::size_t>(count));
    }
}

void ReplacementFile::adoptAttributes(int other) {
    struct stat status {};
    if (::fstat(other, &status) != 0)
        fail();
    // Changes the owner first, since that clears special mode bits. Only root may change the owner; a file of any other
    // user keeps its owner.
    [[maybe_unused]] const int isGiven = ::fchown(file_.get(), status.st_uid, status.st_gid);
    setMode(status.st_mode & 07777);
}

void ReplacementFile::setMode(mode_t mode) {
    if (::fchmod(file_.get(), mode) != 0)
        fail();
}

void ReplacementFile::commit() {
    if (::fsync(file_.get()) != 0 || ::rename(temporary_.c_str(), target_.c_str()) != 0)
        fail();
    temporary_.clear();
}

void ReplacementFile::fail() const {
    throw SigningFailed("The file " + target_.string() + " cannot be written (" +
                        std::generic_category().message(errno) + ").");
}

} // namespace kelo
