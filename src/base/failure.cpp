#include "base/failure.h"

#include <windows.h>

#include <utility>

namespace vandrel {

Failure::Failure(std::wstring&& text) : std::runtime_error("Vandrel updater"), message(std::move(text)) {}

void require(bool condition, const std::wstring& text) {
    if (!condition) throw Failure(std::wstring(text));
}

std::wstring system_error_text(const std::wstring& context, std::uint32_t code) {
    std::wstring text = context + L" (" + std::to_wstring(code) + L")";
    wchar_t* system_text = nullptr;
    constexpr DWORD kFlags =
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_FROM_SYSTEM;
    FormatMessageW(kFlags, nullptr, code, 0, reinterpret_cast<wchar_t*>(&system_text), 0, nullptr);
    if (system_text == nullptr) return text;
    struct Release {
        wchar_t* block;
        ~Release() { LocalFree(block); }
    } release{system_text};
    return text + L": " + system_text;
}

std::wstring windows_error_text(const std::wstring& context, std::uint32_t code) {
    return context + L" (Windows " + std::to_wstring(code) + L")";
}

}  // namespace vandrel
