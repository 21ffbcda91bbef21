// Verifies the input as the executable of a hostile peer, with an anchor whose private key was deleted. Only the
// identities of the seeds, which fuzz/sign-seeds.sh creates, may be accepted.

#include <sys/mman.h>
#include <unistd.h>

#include "fuzz/FuzzTarget.h"
#include "platform/linux/signing/CodeSignature.h"
#include "platform/linux/signing/TrustAnchor.h"
#include "platform/posix/FileDescriptor.h"

using kelo::CodeIdentity;
using kelo::mustHold;

namespace {

/// Returns the descriptor of a file that contains the input.
int fileOf(const std::uint8_t* data, std::size_t size) {
    static const kelo::FileDescriptor file(::memfd_create("input", MFD_CLOEXEC));
    const bool isWritten =
        ::ftruncate(file.get(), 0) == 0 && ::pwrite(file.get(), data, size, 0) == static_cast<ssize_t>(size);
    mustHold(isWritten, "the input can be written to memory");
    return file.get();
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const auto anchor = kelo::TrustAnchor::load(KELO_FUZZ_ANCHOR);
    const auto verdict = kelo::verifyCodeSignature(fileOf(data, size), anchor);
    mustHold(verdict.identity.has_value() == verdict.reason.empty(), "there is an identity or a reason");
    if (verdict.identity)
        mustHold(*verdict.identity == CodeIdentity{"app.kelo.Kelo", "ABCDE12345"} ||
                     *verdict.identity == CodeIdentity{"a \"b\"", "O\"U"},
                 "only signed identities are accepted");
    return 0;
}
