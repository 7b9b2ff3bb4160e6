#include "winsim/trace_text.h"

#include <cstdio>

namespace winsim {
namespace {

void append_utf8(std::string& text, std::uint32_t point) {
    const auto put = [&text](std::uint32_t byte) { text += static_cast<char>(static_cast<unsigned char>(byte)); };
    if (point < 0x80) {
        put(point);
    } else if (point < 0x800) {
        put(0xC0 | (point >> 6));
        put(0x80 | (point & 0x3F));
    } else {
        put(0xE0 | (point >> 12));
        put(0x80 | ((point >> 6) & 0x3F));
        put(0x80 | (point & 0x3F));
    }
}

}  // namespace

std::string readable(std::wstring_view units) {
    std::string text;
    for (const wchar_t unit : units) append_utf8(text, static_cast<std::uint32_t>(unit) & 0xFFFFU);
    return text;
}

std::string outcome_text(std::int64_t value, bool hexadecimal) {
    if (value >= -1 && (!hexadecimal || value <= 9)) return "-> " + std::to_string(value);
    char digits[24];
    const auto bits = static_cast<unsigned long long>(value);
    std::snprintf(digits, sizeof digits, "-> 0x%llx", hexadecimal ? bits : bits & 0xFFFFFFFFULL);
    return digits;
}

}  // namespace winsim
