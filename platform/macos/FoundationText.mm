#include "platform/macos/FoundationText.h"

namespace kelo {

namespace {

ObjCReference<NSString*> decode(const std::string& text, NSStringEncoding encoding) {
    return adopt([[NSString alloc] initWithBytes:text.data() length:text.size() encoding:encoding]);
}

} // namespace

ObjCReference<NSString*> makeNSString(const std::string& text) {
    auto string = decode(text, NSUTF8StringEncoding);
    return string ? std::move(string) : decode(text, NSISOLatin1StringEncoding);
}

ObjCReference<NSString*> makeNSString(const std::optional<std::string>& text) {
    return text ? makeNSString(*text) : ObjCReference<NSString*>();
}

ObjCReference<NSData*> makeNSData(const std::optional<Data>& data) {
    if (!data)
        return {};
    return adopt([[NSData alloc] initWithBytes:data->data() length:data->size()]);
}

std::optional<std::string> textFromNSString(NSString* _Nullable text) {
    if (text == nil)
        return std::nullopt;
    const char* const utf8 = text.UTF8String;
    return utf8 != nullptr ? utf8 : ""; // null for half a surrogate pair, which UTF-8 cannot represent
}

std::optional<Data> dataFromNSData(NSData* _Nullable data) {
    if (data == nil)
        return std::nullopt;
    const auto* const bytes = static_cast<const std::uint8_t*>(data.bytes);
    return Data(bytes, bytes + data.length);
}

} // namespace kelo
