#include "simulator/tools/simsign/CodeSigner.h"

#include <fcntl.h>
#include <sodium.h>

#include <bit>
#include <cerrno>
#include <system_error>
#include <vector>

#include "platform/linux/signing/SignatureRefused.h"
#include "platform/linux/signing/SignatureTrailer.h"
#include "platform/posix/FileDescriptor.h"
#include "simulator/tools/simsign/KeyFolder.h"
#include "simulator/tools/simsign/ReplacementFile.h"
#include "simulator/tools/simsign/SigningFailed.h"

namespace kelo {
namespace {

namespace fs = std::filesystem;

FileDescriptor openExecutable(const fs::path& path) {
    FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file.isValid())
        throw SigningFailed("The file " + path.string() + " cannot be read (" + std::generic_category().message(errno) +
                            ").");
    return file;
}

/// Returns the file's content without its trailer. Fails for a damaged trailer: its start is unknown, and signing it as
/// content would hide the damage permanently.
std::vector<std::uint8_t> contentOf(int file, const fs::path& path) {
    try {
        const auto size = fileSizeOf(file);
        std::vector<std::uint8_t> content(SignatureTrailer::read(file, size) ? size - sizeof(SignatureTrailer) : size);
        if (!readExactly(file, 0, content))
            throw SigningFailed("The file " + path.string() + " cannot be read.");
        return content;
    } catch (const SignatureRefused& refused) {
        throw SigningFailed(refused.what());
    }
}

} // namespace

void signExecutable(const fs::path& executable, const std::string& identifier, const TeamKey& team) {
    auto trailer = team.trailer;
    trailer.identifier = requireNameField("identifier", identifier);
    const auto original = openExecutable(executable);
    const auto content = contentOf(original.get(), executable);
    trailer.contentSize = std::bit_cast<decltype(trailer.contentSize)>(std::uint64_t{content.size()});
    crypto_generichash(trailer.contentDigest.data(), trailer.contentDigest.size(), content.data(), content.size(),
                       nullptr, 0);
    trailer.teamSignature = team.key.sign(trailer.codeMessage());
    ReplacementFile signedFile(fs::canonical(executable));
    signedFile.write(content);
    signedFile.write(trailer.bytes());
    signedFile.adoptAttributes(original.get());
    signedFile.commit();
}

} // namespace kelo
