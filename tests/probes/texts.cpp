// UTF-8 to UTF-16 and back, strictly.
#include "lab/probes/probe.h"

namespace {

using namespace probe;
using namespace std::string_view_literals;

constexpr std::string_view kBytes[] = {
    "a"sv, "\xC3\xA9"sv, "\xE2\x82\xAC"sv, "\xF0\x9F\x98\x80"sv, "a\0b"sv, "\xEF\xBB\xBFx"sv, "\xEF\xBF\xBF"sv,
    // The first and last of each length
    "\x7F"sv, "\xC2\x80"sv, "\xDF\xBF"sv, "\xE0\xA0\x80"sv, "\xED\x9F\xBF"sv, "\xEE\x80\x80"sv, "\xF0\x90\x80\x80"sv,
    "\xF4\x8F\xBF\xBF"sv,
    // Overlong, surrogates, too large
    "\xC0\x80"sv, "\xC1\xBF"sv, "\xE0\x80\x80"sv, "\xE0\x9F\xBF"sv, "\xF0\x80\x80\x80"sv, "\xF0\x8F\xBF\xBF"sv,
    "\xED\xA0\x80"sv, "\xED\xBF\xBF"sv, "\xF4\x90\x80\x80"sv, "\xF5\x80\x80\x80"sv, "\xFF"sv,
    // Cut, or out of place
    "\xC2"sv, "a\xE2\x82"sv, "\xF0\x9F\x98"sv, "\x80"sv, "\xC2\x41"sv, "\xE2\x82\xAC\xE2\x82"sv};

constexpr std::wstring_view kTexts[] = {
    L"a"sv, L"\x00e9"sv, L"\x20ac"sv, L"\xd83d\xde00"sv, L"\xdbff\xdfff"sv, L"\xffff"sv, L"a\0b"sv,
    // Surrogates that are no pair
    L"\xd83d"sv, L"\xde00"sv, L"\xde00\xd83d"sv, L"\xd83d\x0061"sv, L"a\xd83d\xd83d\xde00"sv};

int to_text(std::string_view bytes, wchar_t* text, int room) {
    SetLastError(0);
    const int size = static_cast<int>(bytes.size());
    return MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, bytes.data(), size, text, room);
}

int to_bytes(std::wstring_view text, char* bytes, int room) {
    SetLastError(0);
    const int size = static_cast<int>(text.size());
    return WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, text.data(), size, bytes, room, nullptr, nullptr);
}

std::string count(int units) {
    return units == 0 ? outcome(false) : std::to_string(units);
}

}  // namespace

void probe::run() {
    for (const std::string_view bytes : kBytes) {
        wchar_t text[16];
        const std::string needed = count(to_text(bytes, nullptr, 0));
        const int units = to_text(bytes, text, 16);
        say("text of " + in_hexadecimal(bytes),
            needed + ", " + count(units) + " " + shown({text, static_cast<std::size_t>(units)}));
    }
    for (const std::wstring_view text : kTexts) {
        char bytes[16];
        const std::string needed = count(to_bytes(text, nullptr, 0));
        const int size = to_bytes(text, bytes, 16);
        say("bytes of " + shown(text),
            needed + ", " + count(size) + " " + in_hexadecimal({bytes, static_cast<std::size_t>(size)}));
    }
    wchar_t little[2];
    say("too little room", count(to_text("abc", little, 2)));
    say("no bytes at all", count(to_text("", nullptr, 0)));
}
