#include "text.h"

#include <windows.h>

namespace vandrel_client {

std::string to_utf8(std::wstring_view text) {
    const int units = static_cast<int>(text.size());
    const int size =
        WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, text.data(), units, nullptr, 0, nullptr, nullptr);
    std::string result(static_cast<size_t>(size), '\0');
    WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, text.data(), units, result.data(), size, nullptr, nullptr);
    return result;
}

std::wstring to_wide(std::string_view text) {
    const int bytes = static_cast<int>(text.size());
    const int size = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text.data(), bytes, nullptr, 0);
    std::wstring result(static_cast<size_t>(size), L'\0');
    MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text.data(), bytes, result.data(), size);
    return result;
}

}  // namespace vandrel_client
