#include "simulator/tools/simsign/KeyFolder.h"

#include <openssl/pem.h>

#include <algorithm>
#include <span>
#include <utility>

#include "platform/linux/signing/ContentDigest.h"
#include "simulator/tools/simsign/ReplacementFile.h"
#include "simulator/tools/simsign/SigningFailed.h"

namespace kelo {
namespace {

namespace fs = std::filesystem;

constexpr mode_t forEverybody = 0644;
constexpr mode_t forOwner = 0600;

std::span<const std::uint8_t> bytesOf(const std::string& text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

/// As PEM; the private key, which may be null, first.
std::string pemOf(X509* certificate, EVP_PKEY* key) {
    const OpenSSLErrorScope errors;
    const BIOHandle output(BIO_new(BIO_s_mem()));
    if (!output ||
        (key != nullptr && PEM_write_bio_PrivateKey(output.get(), key, nullptr, nullptr, 0, nullptr, nullptr) != 1) ||
        PEM_write_bio_X509(output.get(), certificate) != 1)
        throw SigningFailed("OpenSSL cannot write the certificate.");
    char* text = nullptr;
    const auto size = BIO_get_mem_data(output.get(), &text);
    return {text, static_cast<std::size_t>(size)};
}

void writeFile(const fs::path& path, const std::string& text, mode_t mode) {
    ReplacementFile file(path);
    file.setMode(mode);
    file.write(bytesOf(text));
    file.commit();
}

void writeKeyed(const fs::path& path, const KeyedCertificate& keyed) {
    writeFile(path, pemOf(keyed.certificate.get(), keyed.key.get()), forOwner);
}

KeyedCertificate readKeyed(const fs::path& path) {
    const OpenSSLErrorScope errors;
    const BIOHandle input(BIO_new_file(path.c_str(), "re"));
    if (!input)
        throw SigningFailed("The file " + path.string() + " cannot be read.");
    KeyedCertificate keyed;
    keyed.key.reset(PEM_read_bio_PrivateKey(input.get(), nullptr, nullptr, nullptr));
    keyed.certificate.reset(PEM_read_bio_X509(input.get(), nullptr, nullptr, nullptr));
    if (!keyed.key || !keyed.certificate)
        throw SigningFailed("The file " + path.string() + " does not hold a private key and its certificate.");
    return keyed;
}

bool isLetterOrDigit(char c) { return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }

} // namespace

KeyFolder::KeyFolder(fs::path folder) : folder_(std::move(folder)) {}

fs::path KeyFolder::anchorFile() const { return folder_ / "anchor.pem"; }

fs::path KeyFolder::anchorKeyFile() const { return folder_ / "anchor-key.pem"; }

fs::path KeyFolder::teamFile(const std::string& name) const {
    constexpr std::size_t longestPlain = 64;
    if (!name.empty() && name.size() <= longestPlain && std::all_of(name.begin(), name.end(), isLetterOrDigit))
        return folder_ / ("team-" + name + ".pem");
    ContentDigest digest;
    digest.add(bytesOf(name));
    return folder_ / ("team-sha256-" + digest.hex() + ".pem");
}

bool KeyFolder::hasAnchor() const { return fs::exists(anchorFile()) || fs::exists(anchorKeyFile()); }

void KeyFolder::makeAnchor() {
    std::error_code error;
    fs::create_directories(folder_, error);
    if (error)
        throw SigningFailed("The folder " + folder_.string() + " cannot be made (" + error.message() + ").");
    for (const auto& entry : fs::directory_iterator(folder_))
        if (entry.path().filename().string().starts_with("team-") && entry.path().extension() == ".pem")
            fs::remove(entry.path());
    CertificateRequest request;
    request.commonName = "Simulated Mac development anchor";
    request.isAuthority = true;
    const auto anchor = issueSelfSigned(request);
    writeKeyed(anchorKeyFile(), anchor);
    writeFile(anchorFile(), pemOf(anchor.certificate.get(), nullptr), forEverybody);
}

KeyedCertificate KeyFolder::anchor() const { return readKeyed(anchorKeyFile()); }

KeyedCertificate KeyFolder::team(const std::string& name) {
    const auto file = teamFile(name);
    if (fs::exists(file))
        return readKeyed(file);
    CertificateRequest request;
    request.commonName = "Simulated Mac development";
    request.organizationalUnits = {name};
    auto made = issueCertificate(request, anchor());
    writeKeyed(file, made);
    return made;
}

} // namespace kelo
