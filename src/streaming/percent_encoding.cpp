#include "streaming/percent_encoding.h"

#include <string_view>

#include "safefs/text_encoding.h"

namespace vandrel {

namespace {

bool is_unreserved(char byte) {
    return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || (byte >= '0' && byte <= '9') ||
           byte == '-' || byte == '.' || byte == '_' || byte == '~';
}

}  // namespace

std::wstring percent_encode(const std::wstring& text) {
    constexpr std::wstring_view kDigits = L"0123456789ABCDEF";
    const std::string bytes = wide_to_utf8(text);
    std::wstring encoded;
    encoded.reserve(3 * bytes.size());
    for (const char byte : bytes) {
        if (is_unreserved(byte)) {
            encoded += static_cast<wchar_t>(byte);
        } else {
            const auto value = static_cast<unsigned char>(byte);
            encoded += {L'%', kDigits[value >> 4], kDigits[value & 15]};
        }
    }
    return encoded;
}

}  // namespace vandrel
