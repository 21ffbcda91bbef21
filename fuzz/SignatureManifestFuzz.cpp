// What a signer may have put into a signed message.

#include <string_view>

#include "fuzz/FuzzTarget.h"
#include "platform/linux/signing/SignatureManifest.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto manifest = kelo::SignatureManifest::parse(text);
    if (manifest)
        kelo::mustHold(manifest->text() == text, "one manifest has one form");
    return 0;
}
