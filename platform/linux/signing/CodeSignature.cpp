#include "platform/linux/signing/CodeSignature.h"

#include <algorithm>
#include <bit>

#include "platform/linux/signing/SignatureRefused.h"
#include "platform/linux/signing/SignatureTrailer.h"
#include "platform/linux/signing/Sodium.h"
#include "platform/linux/signing/TrustAnchor.h"

namespace kelo {
namespace {

bool verifies(const Ed25519Signature& signature, const std::vector<std::uint8_t>& message, const PublicKey& key) {
    return crypto_sign_verify_detached(signature.data(), message.data(), message.size(), key.data()) == 0;
}

/// Reads the file instead of mapping it: truncating a mapped file would kill the process that reads it.
ContentDigest digestOf(int executable, std::uint64_t size) {
    crypto_generichash_state state;
    ContentDigest digest{};
    crypto_generichash_init(&state, nullptr, 0, digest.size());
    std::array<std::uint8_t, std::size_t{16} * 1024> buffer;
    for (std::uint64_t offset = 0; offset < size;) {
        const auto block = std::span(buffer).first(std::min<std::uint64_t>(buffer.size(), size - offset));
        if (!readExactly(executable, offset, block))
            throw SignatureRefused("The executable cannot be read.");
        crypto_generichash_update(&state, block.data(), block.size());
        offset += block.size();
    }
    crypto_generichash_final(&state, digest.data(), digest.size());
    return digest;
}

CodeIdentity requireCodeSignature(int executable, const TrustAnchor& anchor) {
    initializeSodium();
    const auto fileSize = fileSizeOf(executable);
    const auto trailer = SignatureTrailer::require(executable, fileSize);
    if (!verifies(trailer.anchorSignature, trailer.teamMessage(), anchor.key))
        throw SignatureRefused("The trust anchor does not vouch for the signer.");
    if (!verifies(trailer.teamSignature, trailer.codeMessage(), trailer.teamKey))
        throw SignatureRefused("The signature does not verify.");
    const auto contentSize = fileSize - sizeof trailer;
    if (trailer.contentSize != std::bit_cast<decltype(trailer.contentSize)>(contentSize) ||
        trailer.contentDigest != digestOf(executable, contentSize))
        throw SignatureRefused("The executable was altered after it was signed.");
    return {std::string(trailer.identifier.name()), std::string(trailer.team.name())};
}

} // namespace

SignatureVerdict verifyCodeSignature(int executable, const TrustAnchor& anchor) {
    try {
        return {requireCodeSignature(executable, anchor), {}};
    } catch (const SignatureRefused& refused) {
        return {std::nullopt, refused.what()};
    }
}

} // namespace kelo
