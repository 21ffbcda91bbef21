#include "platform/linux/signing/CodeSignature.h"

#include <utility>

#include "platform/linux/signing/ContentDigest.h"
#include "platform/linux/signing/FileBlocks.h"
#include "platform/linux/signing/SignatureRefused.h"
#include "platform/linux/signing/SignatureTrailer.h"
#include "platform/linux/signing/SignedMessage.h"

namespace kelo {
namespace {

void requireContent(int executable, std::uint64_t contentSize, const SignatureManifest& manifest) {
    const SignatureRefused altered("The executable was altered after it was signed.");
    if (contentSize != manifest.length)
        throw altered;
    ContentDigest digest;
    if (!forEachBlock(executable, contentSize, [&](auto block) { digest.add(block); }))
        throw SignatureRefused("The executable cannot be read.");
    if (digest.hex() != manifest.sha256)
        throw altered;
}

CodeIdentity requireCodeSignature(int executable, const TrustAnchor& anchor) {
    const auto trailer = SignatureTrailer::read(executable);
    if (!trailer)
        throw SignatureRefused("The executable is not signed.");
    auto manifest = openSignedMessage(trailer->message, anchor);
    requireContent(executable, trailer->contentSize, manifest);
    return std::move(manifest.identity);
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
