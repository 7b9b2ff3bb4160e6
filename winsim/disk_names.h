// Path text as the simulated file system takes it: splitting, folding, wildcards. Pure text, no disk.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace winsim {

// Units that the file system takes for one in a name become one: ASCII letters small, all others as Unicode's simple
// mapping to capitals has them (the C library's), unit by unit.
wchar_t fold_beyond_ascii(wchar_t unit);
constexpr wchar_t fold(wchar_t unit) {
    if (unit > 0x7F) return fold_beyond_ascii(unit);
    return unit >= L'A' && unit <= L'Z' ? static_cast<wchar_t>(unit + (L'a' - L'A')) : unit;
}
std::wstring fold(std::wstring_view name);
std::uint64_t folded_hash(std::wstring_view name);
bool same_folded(std::wstring_view name, std::wstring_view folded);  // `folded` has been folded already

constexpr bool is_separator(wchar_t unit) {
    return unit == L'\\' || unit == L'/';
}

// "*" stands for any run of units, "?" for one. Compared without case. "*.*" matches every name.
bool matches_pattern(std::wstring_view name, std::wstring_view pattern);
bool has_wildcard(std::wstring_view name);

// The longest path that a program without long-path awareness can name, and the longest folder that it can make
// (there must be room for a short name in it).
inline constexpr std::size_t kMaxPathUnits = 259;
inline constexpr std::size_t kMaxFolderUnits = 247;

// A full path in its parts. "." and ".." are resolved, separators are gone, trailing dots (of the last part: and
// blanks) are dropped. The parts are views of the path and of the current folder it was split with.
struct SplitPath {
    static constexpr std::size_t kMaxParts = 132;  // more than kMaxPathUnits can hold

    std::uint32_t error = 0;  // 0; 3 no path at all; 53 a network path; 123 no valid name; nothing else is set then
    wchar_t drive = 0;        // folded
    bool ends_in_separator = false;
    std::size_t count = 0;
    std::size_t units = 0;  // of the full path as Windows would write it; 0 for a `\\?\` path, which may be any length
    std::array<std::wstring_view, kMaxParts> parts;
    std::array<std::uint64_t, kMaxParts> keys;  // folded_hash of each part; of an erroneous path, not set

    std::wstring_view name() const { return count == 0 ? std::wstring_view() : parts[count - 1]; }
};

// Splits `path` as seen from `current_folder` (a full path). `\\?\C:\x` is taken for `C:\x`; other `\\?\` and `\\.\`
// paths aren't served: 123. `pattern` allows wildcards in the last part; a colon there (a stream) is no error either,
// but such a name is never found. Into a caller's object, since it is large.
void split_path(std::wstring_view path, std::wstring_view current_folder, bool pattern, SplitPath& split);

}  // namespace winsim
