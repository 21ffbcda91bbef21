#pragma once

#include <fcntl.h>
#include <gmock/gmock.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "platform/linux/signing/CodeIdentity.h"
#include "platform/linux/signing/CodeSignature.h"
#include "platform/linux/signing/TrustAnchor.h"
#include "platform/posix/FileDescriptor.h"
#include "simulator/tools/simsign/CodeSigner.h"
#include "simulator/tools/simsign/KeyFolder.h"
#include "testing/TemporaryFolder.h"
#include "testing/process/ChildProcess.h"

namespace kelo {

/// A folder with its own keys, and files to sign and verify.
class SigningFixture : public ::testing::Test {
protected:
    using Path = std::filesystem::path;

    SigningFixture() {
        keys.makeAnchor();
        // Overrides the umask, because a folder that other users can write to is not trusted.
        std::filesystem::permissions(folder / "keys", std::filesystem::perms(0755));
    }

    /// Signs with a key that the folder's anchor has certified.
    void sign(const Path& file, const CodeIdentity& as) { signExecutable(file, as.identifier, keys.team(as.team)); }

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

    /// Makes an unsigned copy of the program that acts as the peer.
    Path unsignedProgram() {
        auto path = folder / ("program-" + std::to_string(++files_));
        std::filesystem::copy_file(KELO_SIGNED_PEER, path);
        return path;
    }

    /// Starts a program and redirects its output to files in the folder.
    std::unique_ptr<ChildProcess> startProgram(const Path& program, const std::vector<std::string>& arguments) const {
        return std::make_unique<ChildProcess>(program, arguments, folder.path(), program.filename());
    }

    Path programSignedAs(const CodeIdentity& as) {
        auto path = unsignedProgram();
        sign(path, as);
        return path;
    }

    TrustAnchor anchor() const { return TrustAnchor::load(keys.anchorFile()); }

    FileDescriptor openAnchorFolder() const {
        return FileDescriptor(::open(keys.anchorFile().parent_path().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    }

    /// Reads the anchor in its current state, as the helper does.
    InstalledAnchor installedAnchor() const {
        return InstalledAnchor(openAnchorFolder().get(), keys.anchorFile().filename());
    }

    SignatureVerdict verdictOn(const Path& file) const { return verdictOn(file, anchor()); }

    static SignatureVerdict verdictOn(const Path& file, const TrustAnchor& anchor) {
        const FileDescriptor executable(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
        return verifyCodeSignature(executable.get(), anchor);
    }

    std::string refusalOf(const Path& file) const { return verdictOn(file).reason; }

    const TemporaryFolder folder;
    KeyFolder keys{folder / "keys"};
    const CodeIdentity identity{"app.kelo.Kelo", "ABCDE12345"};

private:
    int files_ = 0;
};

inline constexpr const char* unsignedReason = "The executable is not signed.";
inline constexpr const char* foreignReason = "The trust anchor does not vouch for the signer.";
inline constexpr const char* doesNotVerify = "The signature does not verify.";
inline constexpr const char* alteredReason = "The executable was altered after it was signed.";
inline constexpr const char* damagedName = "The signature trailer is damaged: a name in it is not printable text.";

/// The trailer's size, and the last bytes of every trailer.
inline constexpr std::size_t trailerSize = 724;
inline std::string trailerEnd(char version = 2) { return version + std::string("\0\0\0\x89KeloSig", 11); }

} // namespace kelo
