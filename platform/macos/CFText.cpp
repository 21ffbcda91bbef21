#include "platform/macos/CFText.h"

namespace kelo {

std::optional<std::string> textFromCF(CFStringRef text) {
    // Adds 1, since the maximum size does not include the terminating NUL.
    const CFIndex size = CFStringGetMaximumSizeForEncoding(CFStringGetLength(text), kCFStringEncodingUTF8) + 1;
    std::string buffer(static_cast<std::size_t>(size), '\0');
    if (!CFStringGetCString(text, buffer.data(), size, kCFStringEncodingUTF8))
        return std::nullopt;
    return std::string(buffer.c_str());
}

CFReference<CFStringRef> textToCF(const std::string& text) {
    return CFReference<CFStringRef>(
        CFStringCreateWithCString(kCFAllocatorDefault, text.c_str(), kCFStringEncodingUTF8));
}

} // namespace kelo
