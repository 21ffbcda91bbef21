#include "platform/linux/signing/ContentDigest.h"

#include <array>
#include <stdexcept>

#include "platform/posix/Hex.h"

namespace kelo {
namespace {

/// Digesting memory fails only where OpenSSL itself is broken or out of memory.
void require(bool succeeded) {
    if (!succeeded)
        throw std::runtime_error("OpenSSL cannot make a SHA-256 digest.");
}

} // namespace

ContentDigest::ContentDigest() : context_(EVP_MD_CTX_new()) {
    require(context_ != nullptr && EVP_DigestInit_ex(context_.get(), EVP_sha256(), nullptr) == 1);
}

void ContentDigest::add(std::span<const std::uint8_t> bytes) {
    require(EVP_DigestUpdate(context_.get(), bytes.data(), bytes.size()) == 1);
}

std::string ContentDigest::hex() {
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned int size = 0;
    require(EVP_DigestFinal_ex(context_.get(), digest.data(), &size) == 1);
    return hexOf(std::span(digest).first(size));
}

} // namespace kelo
