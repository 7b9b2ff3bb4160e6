// GetFullPathNameW and the folders and names of the program itself.
#include <windows.h>

#include <algorithm>

#include "winsim/call.h"
#include "winsim/full_path.h"
#include "winsim/world_impl.h"

namespace {

using winsim::World;

// The convention of these calls: the length without the terminator, or the size needed with it.
DWORD give_text(const std::wstring& text, DWORD size, LPWSTR buffer) {
    if (size <= text.size()) return static_cast<DWORD>(text.size() + 1);
    std::copy(text.begin(), text.end(), buffer);
    buffer[text.size()] = L'\0';
    return static_cast<DWORD>(text.size());
}

// Null for a folder's text (it ends in a separator) and for a device's.
LPWSTR last_component(LPWSTR text, DWORD length) {
    DWORD begin = length;
    while (begin > 0 && text[begin - 1] != L'\\') --begin;
    const bool device = begin == 4 && text[2] == L'.';
    return begin == length || device ? nullptr : text + begin;
}

}  // namespace

DWORD WINAPI GetFullPathNameW(LPCWSTR path, DWORD size, LPWSTR buffer, LPWSTR* file_part) {
    return winsim::gated<DWORD>("GetFullPathNameW", path, 0, [&](World& world) -> DWORD {
        const std::wstring& full = winsim::full_path(path, world.current_folder);
        if (full.empty()) return winsim::fail<DWORD>(world, ERROR_INVALID_PARAMETER, 0);
        const DWORD result = give_text(full, size, buffer);
        if (file_part != nullptr && result < size) *file_part = last_component(buffer, result);
        return result;
    });
}

DWORD WINAPI GetTempPathW(DWORD size, LPWSTR buffer) {
    return winsim::gated<DWORD>("GetTempPathW", {}, 0,
                                [&](World& world) { return give_text(world.temporary, size, buffer); });
}

DWORD WINAPI GetModuleFileNameW(HMODULE module, LPWSTR buffer, DWORD size) {
    return winsim::gated<DWORD>("GetModuleFileNameW", {}, 0, [&](World& world) -> DWORD {
        winsim::demand(world, module == nullptr && size != 0, "GetModuleFileNameW: another module, or no buffer");
        const std::wstring& image = world.impl().image;
        const std::size_t length = std::min<std::size_t>(image.size(), size - 1);
        std::copy_n(image.begin(), length, buffer);
        buffer[length] = L'\0';
        if (image.size() < size) return static_cast<DWORD>(length);
        return winsim::fail(world, ERROR_INSUFFICIENT_BUFFER, size);
    });
}

LPWSTR WINAPI GetCommandLineW() {
    return winsim::gated_with_fault<LPWSTR>(
        "GetCommandLineW", {}, nullptr, [](World& world, std::uint32_t) { return world.impl().command_line.data(); });
}
