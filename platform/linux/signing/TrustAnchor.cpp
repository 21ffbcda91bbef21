#include "platform/linux/signing/TrustAnchor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "platform/linux/signing/SignatureRefused.h"
#include "platform/linux/signing/Sodium.h"
#include "platform/posix/FileDescriptor.h"

namespace kelo {
namespace {

std::string reasonOf(int error) { return std::generic_category().message(error); }

struct stat statusOf(int descriptor, const std::string& what) {
    struct stat status {};
    if (::fstat(descriptor, &status) != 0)
        throw SignatureRefused(what + " cannot be examined (" + reasonOf(errno) + ").");
    return status;
}

/// Also detects an access control list that lets other users write: the group bits then contain the list's mask.
void requireNotWritableByOthers(const struct stat& status, const std::string& what) {
    if (status.st_uid != 0 && status.st_uid != ::geteuid())
        throw SignatureRefused(what + " belongs to another user.");
    if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0)
        throw SignatureRefused(what + " can be written to by others.");
}

FileDescriptor openAnchor(int folder, const std::string& name) {
    const std::string theAnchor = "The trust anchor";
    const auto theFolder = theAnchor + "'s folder";
    requireNotWritableByOthers(statusOf(folder, theFolder), theFolder);
    // Does not follow a link, which may lead to an unchecked folder, and does not wait for the other end of a pipe.
    FileDescriptor file(::openat(folder, name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!file.isValid())
        throw SignatureRefused(theAnchor + " cannot be opened (" + reasonOf(errno) + ").");
    const auto status = statusOf(file.get(), theAnchor);
    if (!S_ISREG(status.st_mode))
        throw SignatureRefused(theAnchor + " is not a regular file.");
    requireNotWritableByOthers(status, theAnchor);
    return file;
}

} // namespace

TrustAnchor TrustAnchor::load(const std::filesystem::path& file) {
    const FileDescriptor opened(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
    if (!opened.isValid())
        throw SignatureRefused("The trust anchor " + file.string() + " cannot be read.");
    return read(opened.get(), file.string());
}

TrustAnchor TrustAnchor::read(int file, const std::string& name) {
    const auto key = readHexFile<sizeof(PublicKey)>(file);
    if (!key)
        throw SignatureRefused("The trust anchor " + name + " holds no public key.");
    return {*key};
}

InstalledAnchor::InstalledAnchor(int folder, const std::string& name) {
    try {
        anchor_ = TrustAnchor::read(openAnchor(folder, name).get(), name);
    } catch (const SignatureRefused& refused) {
        refusal_ = refused.what();
    }
}

const TrustAnchor& InstalledAnchor::get() const {
    if (!anchor_)
        throw SignatureRefused(refusal_);
    return *anchor_;
}

} // namespace kelo
