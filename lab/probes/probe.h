// What a probe stands on. A probe is one source in tests/probes that makes platform calls and says what it saw. It runs
// on the simulated Windows (native_frame.cpp) and, compiled for Windows, under Wine (windows_frame.cpp); run.py
// compares the two, line by line.
//
// A line is "KEY -> VALUE", each key once. Where Wine isn't like Windows the line carries the reason, and then the two
// must differ: a difference that has gone is a failure, too.
//
// The current folder is C:\probe. In it stand probe.exe, the folder `real` with the file `inside`, `link`, which leads
// to it, and what the probe's own NAME_stage.py has put there. Nothing stays of it.
#pragma once

#include <windows.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

namespace probe {

// The probe itself: each source defines it.
void run();

// What the stage does and no call of the helper can; done by each frame in its way. Paths are full
// ones.
void make_read_only(const wchar_t* path, bool on);
void set_write_time(const wchar_t* path, std::uint64_t ticks);  // 100 ns units since 1601
DWORD start_other();                                            // a process that runs probe.exe and waits
void end_other(DWORD id);
void abandon_mutex(const wchar_t* name);  // somebody takes it, and ends without releasing it; it stays open

// "[a{00e9}]": the units outside of ASCII's printable part in hexadecimal.
inline std::string shown(std::wstring_view text) {
    std::string out = "[";
    for (const wchar_t unit : text) {
        char escaped[16];
        std::snprintf(escaped, sizeof escaped, "{%04x}", static_cast<unsigned>(unit) & 0xFFFFU);
        out += unit >= L' ' && unit < 0x7F ? std::string(1, static_cast<char>(unit)) : std::string(escaped);
    }
    return out + "]";
}

inline void say(const std::string& key, const std::string& value, const char* wine = nullptr) {
    const std::string mark = wine == nullptr ? "" : "~wine: " + std::string(wine) + "~ ";
    std::printf("%s%s -> %s\n", mark.c_str(), key.c_str(), value.c_str());
}

inline std::string number(std::uint64_t value) {
    return std::to_string(value);
}

inline std::string hexadecimal(std::uint32_t value) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%x", static_cast<unsigned>(value));
    return text;
}

// "c3 a9 ": each byte.
inline std::string in_hexadecimal(std::string_view bytes) {
    std::string out;
    for (const char byte : bytes) {
        char digits[8];
        std::snprintf(digits, sizeof digits, "%02x ", static_cast<unsigned>(static_cast<unsigned char>(byte)));
        out += digits;
    }
    return out;
}

// How a call that gives TRUE or FALSE went.
inline std::string outcome(bool done) {
    return done ? "ok" : "error " + number(GetLastError());
}

// A file opened as asked; INVALID_HANDLE_VALUE with the last error set if that failed.
inline HANDLE open(const wchar_t* name, DWORD access, DWORD share, DWORD disposition, DWORD flags = 0) {
    SetLastError(0);
    return CreateFileW(name, access, share, nullptr, disposition, flags, nullptr);
}

inline constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

inline void put(const wchar_t* name, std::string_view content) {
    HANDLE file = open(name, GENERIC_WRITE, 0, CREATE_ALWAYS);
    DWORD written = 0;
    if (!WriteFile(file, content.data(), static_cast<DWORD>(content.size()), &written, nullptr)) {
        say("stage " + shown(name), outcome(false));
    }
    CloseHandle(file);
}

// A file's content, or "-" if it can't be opened.
inline std::string content(const wchar_t* name) {
    HANDLE file = open(name, GENERIC_READ, kShareAll, OPEN_EXISTING);
    if (file == INVALID_HANDLE_VALUE) return "-";
    char buffer[1024];
    DWORD size = 0;
    const bool done = ReadFile(file, buffer, sizeof buffer, &size, nullptr) != FALSE;
    CloseHandle(file);
    return done ? std::string(buffer, size) : "unreadable";
}

}  // namespace probe
