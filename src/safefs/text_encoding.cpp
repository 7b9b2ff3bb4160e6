#include "safefs/text_encoding.h"

#include <windows.h>

#include <algorithm>

namespace vandrel {

std::wstring utf8_to_wide(std::string_view bytes) {
    if (bytes.empty()) return {};
    const int size = static_cast<int>(bytes.size());
    const int length = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, bytes.data(), size, nullptr, 0);
    if (length <= 0) return {};
    std::wstring text(static_cast<std::size_t>(length), L'\0');
    if (MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, bytes.data(), size, text.data(), length) != length) {
        return {};
    }
    return text;
}

std::string wide_to_utf8(std::wstring_view text) {
    if (text.empty()) return {};
    const int size = static_cast<int>(text.size());
    const int length =
        WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, text.data(), size, nullptr, 0, nullptr, nullptr);
    if (length <= 0) return {};
    std::string bytes(static_cast<std::size_t>(length), '\0');
    if (WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, text.data(), size, bytes.data(), length, nullptr, nullptr) !=
        length) {
        return {};
    }
    return bytes;
}

wchar_t fold_case(wchar_t unit) {
    return unit >= L'A' && unit <= L'Z' ? static_cast<wchar_t>(unit - L'A' + L'a') : unit;
}

std::wstring fold_case(std::wstring_view text) {
    std::wstring folded(text);
    for (wchar_t& unit : folded) unit = fold_case(unit);
    return folded;
}

bool is_job_identifier(std::wstring_view text) {
    return text.size() == 32 && std::ranges::all_of(text, [](wchar_t unit) {
               const wchar_t folded = fold_case(unit);
               return (folded >= L'0' && folded <= L'9') || (folded >= L'a' && folded <= L'f');
           });
}

}  // namespace vandrel
