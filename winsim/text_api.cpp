// UTF-8 and UTF-16, as strict as Windows is with MB_ERR_INVALID_CHARS and WC_ERR_INVALID_CHARS.
#include <windows.h>

#include <string>
#include <string_view>

#include "winsim/call.h"
#include "winsim/world_impl.h"

namespace {

using winsim::World;

constexpr std::uint32_t kInvalid = 0xFFFFFFFFU;

struct Lead {
    std::uint32_t length;  // bytes of the sequence; 0: no lead byte
    std::uint32_t bits;    // of the lead
    std::uint32_t least;   // smaller values are overlong
};

Lead lead_of(std::uint32_t byte) {
    if (byte < 0x80) return {1, byte, 0};
    if (byte >= 0xC2 && byte < 0xE0) return {2, byte & 0x1F, 0x80};
    if (byte >= 0xE0 && byte < 0xF0) return {3, byte & 0x0F, 0x800};
    if (byte >= 0xF0 && byte < 0xF5) return {4, byte & 0x07, 0x10000};
    return {0, 0, 0};
}

bool is_surrogate(std::uint32_t point) {
    return point >= 0xD800 && point < 0xE000;
}

// The code point at `at`, which moves behind it; kInvalid if there is none.
std::uint32_t next_of_utf8(std::string_view bytes, std::size_t& at) {
    const Lead lead = lead_of(static_cast<unsigned char>(bytes[at]));
    if (lead.length == 0 || bytes.size() - at < lead.length) return kInvalid;
    std::uint32_t point = lead.bits;
    for (std::size_t i = 1; i < lead.length; ++i) {
        const std::uint32_t byte = static_cast<unsigned char>(bytes[at + i]);
        if ((byte & 0xC0U) != 0x80) return kInvalid;
        point = point << 6 | (byte & 0x3FU);
    }
    if (point < lead.least || is_surrogate(point) || point > 0x10FFFF) return kInvalid;
    at += lead.length;
    return point;
}

std::uint32_t value_of(wchar_t unit) {
    return std::char_traits<wchar_t>::to_int_type(unit);
}

std::uint32_t next_of_utf16(std::wstring_view text, std::size_t& at) {
    const std::uint32_t unit = value_of(text[at++]);
    if (!is_surrogate(unit)) return unit;
    if (unit >= 0xDC00 || at == text.size()) return kInvalid;
    const std::uint32_t low = value_of(text[at]);
    if (low < 0xDC00 || low >= 0xE000) return kInvalid;
    ++at;
    return 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00);
}

std::size_t units_of(std::uint32_t point) {
    return point < 0x10000 ? 1 : 2;
}

std::size_t bytes_of(std::uint32_t point) {
    if (point < 0x80) return 1;
    if (point < 0x800) return 2;
    return point < 0x10000 ? 3 : 4;
}

LPWSTR put_utf16(LPWSTR text, std::uint32_t point) {
    if (point < 0x10000) {
        *text++ = static_cast<wchar_t>(point);
        return text;
    }
    *text++ = static_cast<wchar_t>(0xD800 + ((point - 0x10000) >> 10));
    *text++ = static_cast<wchar_t>(0xDC00 + ((point - 0x10000) & 0x3FF));
    return text;
}

LPSTR put_utf8(LPSTR bytes, std::uint32_t point) {
    const std::size_t length = bytes_of(point);
    constexpr std::uint32_t kMark[] = {0, 0, 0xC0, 0xE0, 0xF0};
    for (std::size_t i = length - 1; i > 0; --i) {
        bytes[i] = static_cast<char>(static_cast<unsigned char>(0x80 | (point & 0x3F)));
        point >>= 6;
    }
    bytes[0] = static_cast<char>(static_cast<unsigned char>(kMark[length] | point));
    return bytes + length;
}

// Both calls: count what the whole text needs, judge it and the room for it, then write it.
template <class View, class Unit, class Next, class Size, class Put>
int convert(World& world, View input, Unit* output, int capacity, Next next, Size size_of, Put put) {
    std::size_t needed = 0;
    for (std::size_t at = 0; at < input.size();) {
        const std::uint32_t point = next(input, at);
        if (point == kInvalid) return winsim::fail(world, ERROR_NO_UNICODE_TRANSLATION, 0);
        needed += size_of(point);
    }
    if (capacity == 0) return static_cast<int>(needed);
    if (needed > static_cast<std::size_t>(capacity)) return winsim::fail(world, ERROR_INSUFFICIENT_BUFFER, 0);
    for (std::size_t at = 0; at < input.size();) output = put(output, next(input, at));
    return static_cast<int>(needed);
}

// The text of `size` units, or with its terminator if `size` is -1.
template <class Unit>
std::basic_string_view<Unit> view_of(const Unit* text, int size) {
    if (size >= 0) return {text, static_cast<std::size_t>(size)};
    return {text, std::char_traits<Unit>::length(text) + 1};
}

bool bad_arguments(const void* input, int size, const void* output, int capacity) {
    return input == nullptr || size == 0 || size < -1 || capacity < 0 || (capacity > 0 && output == nullptr);
}

bool holds_utf16(std::wstring_view text) {
    for (const wchar_t unit : text) {
        if (value_of(unit) > 0xFFFF) return false;
    }
    return true;
}

}  // namespace

int WINAPI MultiByteToWideChar(UINT code_page, DWORD flags, LPCSTR bytes, int size, LPWSTR text, int capacity) {
    return winsim::gated<int>("MultiByteToWideChar", {}, 0, [&](World& world) {
        winsim::demand(world, code_page == CP_UTF8 && flags == MB_ERR_INVALID_CHARS,
                       "MultiByteToWideChar: anything but strict UTF-8");
        if (bad_arguments(bytes, size, text, capacity)) return winsim::fail(world, ERROR_INVALID_PARAMETER, 0);
        return convert(world, view_of(bytes, size), text, capacity, next_of_utf8, units_of, put_utf16);
    });
}

int WINAPI WideCharToMultiByte(UINT code_page, DWORD flags, LPCWSTR text, int size, LPSTR bytes, int capacity,
                               LPCSTR default_character, LPBOOL used_default) {
    return winsim::gated<int>("WideCharToMultiByte", {}, 0, [&](World& world) {
        winsim::demand(world,
                       code_page == CP_UTF8 && flags == WC_ERR_INVALID_CHARS && default_character == nullptr &&
                           used_default == nullptr,
                       "WideCharToMultiByte: anything but strict UTF-8");
        if (bad_arguments(text, size, bytes, capacity)) return winsim::fail(world, ERROR_INVALID_PARAMETER, 0);
        const std::wstring_view input = view_of(text, size);
        winsim::demand(world, holds_utf16(input), "WideCharToMultiByte: a wchar_t that isn't one UTF-16 unit");
        return convert(world, input, bytes, capacity, next_of_utf16, bytes_of, put_utf8);
    });
}
