#pragma once

#include <fcntl.h>
#include <gmock/gmock.h>

#include <filesystem>
#include <string>
#include <vector>

#include "platform/linux/signing/CodeIdentity.h"
#include "platform/linux/signing/CodeSignature.h"
#include "platform/linux/signing/InstalledAnchor.h"
#include "platform/linux/signing/TrustAnchor.h"
#include "platform/posix/FileDescriptor.h"
#include "simulator/tools/simsign/CodeSigner.h"
#include "simulator/tools/simsign/KeyFolder.h"
#include "tests/support/TemporaryFolder.h"

namespace kelo {

/// A folder with keys of its own, and files to sign and verify.
class SigningFixture : public ::testing::Test {
protected:
    using Path = std::filesystem::path;

    SigningFixture() {
        keys.makeAnchor();
        // Whatever the umask: what others can write to is not trusted.
        std::filesystem::permissions(folder / "keys", std::filesystem::perms(0755));
    }

    /// A leaf that is as it should be.
    KeyedCertificate leafFor(const std::string& team) { return issueCertificate(requestFor({team}), keys.anchor()); }

    static CertificateRequest requestFor(std::vector<std::string> organizationalUnits) {
        CertificateRequest request;
        request.commonName = "Leaf";
        request.organizationalUnits = std::move(organizationalUnits);
        return request;
    }

    static CertificateRequest authorityRequest() {
        CertificateRequest request;
        request.commonName = "Authority";
        request.isAuthority = true;
        return request;
    }

    /// Signs as an honest signer of the folder's anchor does.
    void sign(const Path& file, const CodeIdentity& as) { signExecutable(file, as, {keys.team(as.team), {}}); }

    Path fileWith(const std::string& content) {
        auto file = folder / ("file-" + std::to_string(++files_));
        writeFile(file, content);
        return file;
    }

    Path signedFileWith(const std::string& content) {
        auto file = fileWith(content);
        sign(file, identity);
        return file;
    }

    TrustAnchor anchor() const { return TrustAnchor::load(keys.anchorFile()); }

    FileDescriptor openAnchorFolder() const {
        return FileDescriptor(::open(keys.anchorFile().parent_path().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    }

    /// The anchor as the helper takes it, as it is now.
    InstalledAnchor installedAnchor() const {
        return InstalledAnchor(openAnchorFolder().get(), keys.anchorFile().filename());
    }

    SignatureVerdict verdictOn(const Path& file) const { return verdictOn(file, anchor()); }

    static SignatureVerdict verdictOn(const Path& file, const TrustAnchor& anchor) {
        const FileDescriptor executable(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
        return verifyCodeSignature(executable.get(), anchor);
    }

    /// Why the file is refused; empty when it is not.
    std::string refusalOf(const Path& file) const { return verdictOn(file).reason; }

    const TemporaryFolder folder;
    KeyFolder keys{folder / "keys"};
    const CodeIdentity identity{"app.kelo.Kelo", "ABCDE12345"};

private:
    int files_ = 0;
};

inline constexpr const char* alteredReason = "The executable was altered after it was signed.";
inline constexpr const char* unsignedReason = "The executable is not signed.";

/// The sizes around a signed file's parts, taken from its last bytes.
struct SignedFileParts {
    static constexpr std::size_t footerSize = 16;

    explicit SignedFileParts(const std::string& file) {
        const auto footerAt = file.size() - footerSize;
        std::size_t messageSize = 0;
        for (std::size_t i = 4; i-- > 0;)
            messageSize = messageSize << 8 | static_cast<unsigned char>(file[footerAt + i]);
        content = file.substr(0, footerAt - messageSize);
        message = file.substr(footerAt - messageSize, messageSize);
        footer = file.substr(footerAt);
    }

    std::string content;
    std::string message;
    std::string footer;
};

/// Four bytes, little-endian, as the footer has them.
inline std::string fourBytes(std::uint32_t value) {
    std::string bytes;
    for (int i = 0; i < 4; ++i, value >>= 8)
        bytes += static_cast<char>(value & 0xFF);
    return bytes;
}

/// A footer with the given size of the message and format version.
inline std::string footerWith(std::uint32_t messageSize, std::uint32_t version = 1) {
    return fourBytes(messageSize) + fourBytes(version) + "\x89KeloSig";
}

} // namespace kelo
