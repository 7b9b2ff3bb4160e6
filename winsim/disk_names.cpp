#include "winsim/disk_names.h"

#include <locale.h>
#include <wctype.h>

#include <windows.h>

namespace winsim {
namespace {

bool is_drive(std::wstring_view path) {
    return path.size() >= 2 && path[1] == L':' && fold(path[0]) >= L'a' && fold(path[0]) <= L'z';
}

bool is_valid_unit(wchar_t unit, bool last, bool wildcards) {
    switch (unit) {
        case L'*':
        case L'?':
            return wildcards;
        case L':':
            return last;
        case L'<':
        case L'>':
        case L'"':
        case L'|':
            return false;
        default:
            return static_cast<std::uint32_t>(unit) >= 0x20;
    }
}

constexpr std::uint64_t kHashStart = 0xCBF29CE484222325U;

constexpr std::uint64_t hashed(std::uint64_t hash, wchar_t folded) {
    return (hash ^ static_cast<std::uint32_t>(folded)) * 0x100000001B3U;
}

// Folded, the units of ASCII that may stand anywhere in a name; 0 in the others' places.
constexpr std::array<wchar_t, 0x80> kPlainUnits = [] {
    std::array<wchar_t, 0x80> units{};
    for (wchar_t unit = 0x20; unit < 0x7F; ++unit) {
        const bool plain = std::wstring_view(L"*?:<>\"|").find(unit) == std::wstring_view::npos;
        if (plain) units[static_cast<std::size_t>(unit)] = fold(unit);
    }
    return units;
}();

// With the name's hash in `key`. Every path of every call passes here.
bool is_valid_name(std::wstring_view name, bool last, bool wildcards, std::uint64_t& key) {
    if (name.size() > 255) return false;
    key = kHashStart;
    for (const wchar_t unit : name) {
        const auto index = static_cast<std::uint32_t>(unit);
        const wchar_t plain = index < kPlainUnits.size() ? kPlainUnits[index] : L'\0';
        if (plain == L'\0' && !is_valid_unit(unit, last, wildcards)) return false;
        key = hashed(key, plain != L'\0' ? plain : fold(unit));
    }
    return true;
}

// Without the dots at its end, and without the blanks there if they go too.
std::wstring_view without_trailing(std::wstring_view part, bool blanks) {
    while (!part.empty() && (part.back() == L'.' || (blanks && part.back() == L' '))) part.remove_suffix(1);
    return part;
}

void add_part(SplitPath& split, std::wstring_view part, bool last) {
    if (part == L".") return;
    if (part == L"..") {
        if (split.count > 0) --split.count;
        return;
    }
    part = without_trailing(part, last);
    if (part.empty()) return;
    if (split.count == SplitPath::kMaxParts) {
        split.error = ERROR_PATH_NOT_FOUND;
        return;
    }
    split.parts[split.count++] = part;
}

void add_parts(SplitPath& split, std::wstring_view rest) {
    split.ends_in_separator = !rest.empty() && is_separator(rest.back());
    std::size_t end = rest.size();
    while (end > 0 && is_separator(rest[end - 1])) --end;
    std::size_t start = 0;
    while (start < end) {
        std::size_t stop = start;
        while (stop < end && !is_separator(rest[stop])) ++stop;
        add_part(split, rest.substr(start, stop - start), stop == end);
        start = stop + 1;
    }
}

// Takes the start off `rest`: the drive is set, and the current folder's parts if the path builds on them.
void take_root(std::wstring_view& rest, std::wstring_view current_folder, SplitPath& split) {
    const wchar_t current_drive = fold(current_folder[0]);
    split.drive = current_drive;
    if (is_drive(rest)) {
        split.drive = fold(rest[0]);
        rest.remove_prefix(2);
    }
    const bool from_the_root = !rest.empty() && is_separator(rest[0]);
    if (!from_the_root && split.drive == current_drive) add_parts(split, current_folder.substr(2));
}

std::uint32_t network_error(std::wstring_view path) {
    if (path.size() == 2 || path[2] == L'?' || path[2] == L'.') return ERROR_INVALID_NAME;
    return ERROR_BAD_NETPATH;
}

void check(SplitPath& split, bool pattern) {
    split.units = split.count == 0 ? 3 : 2;
    for (std::size_t i = 0; i < split.count; ++i) {
        const bool last = i + 1 == split.count;
        if (!is_valid_name(split.parts[i], last, last && pattern, split.keys[i])) split.error = ERROR_INVALID_NAME;
        split.units += 1 + split.parts[i].size();
    }
}

}  // namespace

wchar_t fold_beyond_ascii(wchar_t unit) {
    static const locale_t unicode = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    const auto capital = static_cast<wchar_t>(towupper_l(static_cast<wint_t>(unit), unicode));
    return capital > 0x7F ? capital : unit;  // a capital of ASCII has small letters of its own
}

std::wstring fold(std::wstring_view name) {
    std::wstring folded(name);
    for (wchar_t& unit : folded) unit = fold(unit);
    return folded;
}

std::uint64_t folded_hash(std::wstring_view name) {
    std::uint64_t hash = kHashStart;
    for (const wchar_t unit : name) hash = hashed(hash, fold(unit));
    return hash;
}

bool same_folded(std::wstring_view name, std::wstring_view folded) {
    if (name.size() != folded.size()) return false;
    for (std::size_t i = 0; i < name.size(); ++i) {
        if (fold(name[i]) != folded[i]) return false;
    }
    return true;
}

bool matches_pattern(std::wstring_view name, std::wstring_view pattern) {
    if (pattern == L"*" || pattern == L"*.*") return true;
    std::size_t at = 0, in = 0, star = std::wstring_view::npos, star_at = 0;
    while (at < name.size()) {
        if (in < pattern.size() && pattern[in] == L'*') {
            star = in++;
            star_at = at;
        } else if (in < pattern.size() && (pattern[in] == L'?' || fold(pattern[in]) == fold(name[at]))) {
            ++in;
            ++at;
        } else if (star != std::wstring_view::npos) {
            in = star + 1;
            at = ++star_at;
        } else {
            return false;
        }
    }
    while (in < pattern.size() && pattern[in] == L'*') ++in;
    return in == pattern.size();
}

bool has_wildcard(std::wstring_view name) {
    return name.find_first_of(L"*?") != std::wstring_view::npos;
}

void split_path(std::wstring_view path, std::wstring_view current_folder, bool pattern, SplitPath& split) {
    split.count = 0;
    split.error = 0;
    if (path.find_first_not_of(L' ') == std::wstring_view::npos) {
        split.error = ERROR_PATH_NOT_FOUND;
        return;
    }
    std::wstring_view rest = path;
    const bool verbatim = path.starts_with(L"\\\\?\\") && is_drive(path.substr(4));
    if (verbatim) {
        rest.remove_prefix(4);
    } else if (path.size() >= 2 && is_separator(path[0]) && is_separator(path[1])) {
        split.error = network_error(path);
        return;
    }
    take_root(rest, current_folder, split);
    add_parts(split, rest);
    if (split.error == 0) check(split, pattern);
    if (verbatim) split.units = 0;
}

}  // namespace winsim
