#include "simulator/tools/simsign/CodeSigner.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "platform/linux/signing/ContentDigest.h"
#include "platform/linux/signing/FileBlocks.h"
#include "platform/linux/signing/SignatureManifest.h"
#include "platform/linux/signing/SignatureRefused.h"
#include "platform/linux/signing/SignatureTrailer.h"
#include "platform/posix/FileDescriptor.h"
#include "simulator/tools/simsign/ReplacementFile.h"
#include "simulator/tools/simsign/SigningFailed.h"

namespace kelo {
namespace {

namespace fs = std::filesystem;

void require(bool succeeded) {
    if (!succeeded)
        throw SigningFailed("OpenSSL cannot make the signature.");
}

X509StackHandle stackOf(const std::vector<X509*>& certificates) {
    X509StackHandle stack(sk_X509_new_null());
    require(stack != nullptr);
    for (auto* certificate : certificates)
        require(X509_add_cert(stack.get(), certificate, X509_ADD_FLAG_UP_REF) == 1);
    return stack;
}

FileDescriptor openExecutable(const fs::path& path) {
    FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file.isValid())
        throw SigningFailed("The file " + path.string() + " cannot be read (" + std::generic_category().message(errno) +
                            ").");
    return file;
}

/// Where the content ends: before the trailer, if there is one.
std::uint64_t contentSizeOf(int file) {
    try {
        if (const auto trailer = SignatureTrailer::read(file))
            return trailer->contentSize;
    } catch (const SignatureRefused& refused) {
        // A damaged trailer does not show where it begins, and signing it as content would hide it for good.
        throw SigningFailed(refused.what());
    }
    const auto size = ::lseek(file, 0, SEEK_END);
    if (size < 0)
        throw SigningFailed("The size of the executable cannot be read.");
    return static_cast<std::uint64_t>(size);
}

void requireValidNames(const CodeIdentity& identity) {
    const auto require = [](const char* what, const std::string& name) {
        if (!SignatureManifest::isValidName(name))
            throw SigningFailed(std::string("The ") + what + " is longer than " +
                                std::to_string(SignatureManifest::maxNameSize) + " bytes or holds control characters.");
    };
    require("identifier", identity.identifier);
    require("team", identity.team);
}

} // namespace

std::vector<std::uint8_t> signMessage(const std::string& content, const Signer& signer) {
    const OpenSSLErrorScope errors;
    const BIOHandle input(BIO_new_mem_buf(content.data(), static_cast<int>(content.size())));
    require(input != nullptr);
    const auto authorities = stackOf(signer.authorities);
    const CMSHandle cms(CMS_sign(signer.leaf.certificate.get(), signer.leaf.key.get(), authorities.get(), input.get(),
                                 CMS_BINARY | CMS_NOSMIMECAP));
    require(cms != nullptr);
    const auto size = i2d_CMS_ContentInfo(cms.get(), nullptr);
    require(size > 0);
    std::vector<std::uint8_t> message(static_cast<std::size_t>(size));
    auto* position = message.data();
    require(i2d_CMS_ContentInfo(cms.get(), &position) == size);
    return message;
}

void signExecutable(const fs::path& executable, const CodeIdentity& identity, const Signer& signer) {
    requireValidNames(identity);
    const auto original = openExecutable(executable);
    const auto contentSize = contentSizeOf(original.get());
    ReplacementFile signedFile(fs::canonical(executable));
    ContentDigest digest;
    const bool isCopied = forEachBlock(original.get(), contentSize, [&](auto block) {
        digest.add(block);
        signedFile.write(block);
    });
    if (!isCopied)
        throw SigningFailed("The file " + executable.string() + " cannot be read.");
    const auto message = signMessage(SignatureManifest{identity, contentSize, digest.hex()}.text(), signer);
    if (message.size() > SignatureTrailer::maxMessageSize)
        throw SigningFailed("The signer's chain of certificates is too long.");
    signedFile.write(message);
    signedFile.write(SignatureTrailer::makeFooter(static_cast<std::uint32_t>(message.size())));
    signedFile.adoptAttributes(original.get());
    signedFile.commit();
}

} // namespace kelo
