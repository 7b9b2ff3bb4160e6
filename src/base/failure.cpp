#include "base/failure.h"

#include <windows.h>

#include <utility>

#include "base/unique_handle.h"

namespace vandrel {

Failure::Failure(std::wstring&& text) : std::runtime_error("Vandrel updater"), message(std::move(text)) {}

void require(bool condition, const wchar_t* text) {
    if (!condition) throw Failure(text);
}

void require(bool condition, const std::wstring& text) {
    if (!condition) throw Failure(std::wstring(text));
}

bool fail(std::wstring& error, std::wstring text) {
    error = std::move(text);
    return false;
}

std::wstring system_error_text(const std::wstring& context, std::uint32_t code) {
    std::wstring text = context + L" (" + std::to_wstring(code) + L")";
    wchar_t* system_text = nullptr;
    constexpr DWORD kFlags =
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_FROM_SYSTEM;
    FormatMessageW(kFlags, nullptr, code, 0, reinterpret_cast<wchar_t*>(&system_text), 0, nullptr);
    if (system_text == nullptr) return text;
    const LocalBlock<wchar_t*> block(system_text);
    return text + L": " + system_text;
}

std::wstring windows_error_text(const std::wstring& context, std::uint32_t code) {
    return context + L" (Windows " + std::to_wstring(code) + L")";
}

}  // namespace vandrel
