#include "simulator/tools/simsign/KeyFolder.h"

#include <fcntl.h>

#include <algorithm>
#include <utility>

#include "platform/linux/signing/Sodium.h"
#include "platform/posix/FileDescriptor.h"
#include "platform/posix/Hex.h"
#include "simulator/tools/simsign/ReplacementFile.h"
#include "simulator/tools/simsign/SigningFailed.h"

namespace kelo {
namespace {

namespace fs = std::filesystem;

constexpr mode_t forEverybody = 0644;
constexpr mode_t forOwner = 0600;

void writeFile(const fs::path& path, std::span<const std::uint8_t> bytes, mode_t mode) {
    const auto text = hexOf(bytes) + "\n";
    ReplacementFile file(path);
    file.setMode(mode);
    file.write({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
    file.commit();
}

template <std::size_t count>
std::array<std::uint8_t, count> readKey(const fs::path& path) {
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file.isValid())
        throw SigningFailed("The file " + path.string() + " cannot be read.");
    const auto bytes = readHexFile<count>(file.get());
    if (!bytes)
        throw SigningFailed("The file " + path.string() + " does not contain a private key.");
    return *bytes;
}

bool isLetterOrDigit(char c) { return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }

} // namespace

SigningKey SigningKey::make() {
    initializeSodium();
    SigningKey key{};
    PublicKey publicKey{};
    crypto_sign_keypair(publicKey.data(), key.secret.data());
    return key;
}

PublicKey SigningKey::publicKey() const {
    PublicKey key{};
    crypto_sign_ed25519_sk_to_pk(key.data(), secret.data());
    return key;
}

Ed25519Signature SigningKey::sign(std::span<const std::uint8_t> message) const {
    initializeSodium();
    Ed25519Signature signature{};
    crypto_sign_detached(signature.data(), nullptr, message.data(), message.size(), secret.data());
    return signature;
}

NameField requireNameField(const char* what, const std::string& name) {
    const auto field = NameField::of(name);
    if (!field)
        throw SigningFailed(std::string("The ") + what +
                            " is longer than 255 bytes or contains characters other than printable ASCII.");
    return *field;
}

TeamKey vouchFor(const std::string& team, const SigningKey& key, const SigningKey& anchor) {
    TeamKey made{key, SignatureTrailer::empty()};
    made.trailer.team = requireNameField("team", team);
    made.trailer.teamKey = key.publicKey();
    made.trailer.anchorSignature = anchor.sign(made.trailer.teamMessage());
    return made;
}

KeyFolder::KeyFolder(fs::path folder) : folder_(std::move(folder)) {}

fs::path KeyFolder::teamFile(const std::string& name) const {
    constexpr std::size_t longestPlain = 64;
    if (!name.empty() && name.size() <= longestPlain && std::all_of(name.begin(), name.end(), isLetterOrDigit))
        return folder_ / ("team-" + name + ".key");
    std::array<std::uint8_t, 32> digest{};
    crypto_generichash(digest.data(), digest.size(), reinterpret_cast<const std::uint8_t*>(name.data()), name.size(),
                       nullptr, 0);
    return folder_ / ("team-digest-" + hexOf(digest) + ".key");
}

bool KeyFolder::hasAnchor() const { return fs::exists(anchorFile()) || fs::exists(anchorKeyFile()); }

void KeyFolder::makeAnchor() {
    std::error_code error;
    fs::create_directories(folder_, error);
    if (error)
        throw SigningFailed("The folder " + folder_.string() + " cannot be created (" + error.message() + ").");
    for (const auto& entry : fs::directory_iterator(folder_))
        if (entry.path().filename().string().starts_with("team-") && entry.path().extension() == ".key")
            fs::remove(entry.path());
    const auto anchor = SigningKey::make();
    writeFile(anchorKeyFile(), anchor.secret, forOwner);
    writeFile(anchorFile(), anchor.publicKey(), forEverybody);
}

SigningKey KeyFolder::anchor() const { return {readKey<sizeof(SigningKey)>(anchorKeyFile())}; }

TeamKey KeyFolder::team(const std::string& name) {
    const auto file = teamFile(name);
    if (fs::exists(file))
        return vouchFor(name, {readKey<sizeof(SigningKey)>(file)}, anchor());
    const auto made = vouchFor(name, SigningKey::make(), anchor());
    writeFile(file, made.key.secret, forOwner);
    return made;
}

} // namespace kelo
