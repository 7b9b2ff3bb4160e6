#include "safefs/windows_path.h"

#include <windows.h>

#include <algorithm>

#include "safefs/file_system_error.h"

namespace vandrel {

namespace {

constexpr std::size_t kUsualElements = 16;  // most paths have fewer

bool is_drive_letter(wchar_t unit) {
    return (unit >= L'A' && unit <= L'Z') || (unit >= L'a' && unit <= L'z');
}

bool has_drive_prefix(std::wstring_view path) {
    return path.size() >= 2 && is_drive_letter(path[0]) && path[1] == L':';
}

// "\??\x", where x is anything but a separator, the end included. The prefixes "\\?" and "\\." need no look of their
// own: they come out as the names of servers do.
bool has_object_prefix(std::wstring_view path) {
    return path.size() >= 4 && is_separator(path[0]) && path[1] == L'?' && path[2] == L'?' && is_separator(path[3]) &&
           (path.size() == 4 || !is_separator(path[4]));
}

std::size_t skip_separators(std::wstring_view path, std::size_t position) {
    while (position < path.size() && is_separator(path[position])) ++position;
    return position;
}

std::size_t find_separator(std::wstring_view path, std::size_t position) {
    while (position < path.size() && !is_separator(path[position])) ++position;
    return position;
}

// Where the components begin, behind the root name and all separators of the root directory.
std::size_t relative_begin(std::wstring_view path) {
    return skip_separators(path, root_name(path).size());
}

// Where the last component begins.
std::size_t file_name_begin(std::wstring_view path) {
    const std::size_t first = relative_begin(path);
    std::size_t position = path.size();
    while (position > first && !is_separator(path[position - 1])) --position;
    return position;
}

}  // namespace

bool is_separator(wchar_t unit) {
    return unit == L'\\' || unit == L'/';
}

std::wstring_view root_name(std::wstring_view path) {
    if (path.size() < 2) return {};
    if (has_drive_prefix(path)) return path.substr(0, 2);
    if (!is_separator(path[0])) return {};
    if (has_object_prefix(path)) return path.substr(0, 3);
    const bool is_server = path.size() >= 3 && is_separator(path[1]) && !is_separator(path[2]);
    return is_server ? path.substr(0, find_separator(path, 3)) : std::wstring_view{};
}

bool has_root_directory(std::wstring_view path) {
    const std::size_t end = root_name(path).size();
    return end < path.size() && is_separator(path[end]);
}

bool is_absolute(std::wstring_view path) {
    if (has_drive_prefix(path)) return path.size() >= 3 && is_separator(path[2]);
    return !root_name(path).empty();
}

void append(std::wstring& path, std::wstring_view right) {
    const std::wstring_view root = root_name(path);
    const std::wstring_view right_root = root_name(right);
    if (is_absolute(right) || (!right_root.empty() && right_root != root)) {
        path = right;
        return;
    }
    if (has_root_directory(right)) {
        path.resize(root.size());
    } else {
        const bool only_root_name = root.size() == path.size();
        const bool wants_separator = only_root_name ? root.size() >= 3 : !is_separator(path.back());
        if (wants_separator) path += L'\\';
    }
    path += right.substr(right_root.size());
}

std::wstring join(std::wstring_view left, std::wstring_view right) {
    std::wstring joined;
    joined.reserve(left.size() + 1 + right.size());
    joined = left;
    append(joined, right);
    return joined;
}

std::wstring_view parent_of(std::wstring_view path) {
    const std::size_t first = relative_begin(path);
    std::size_t end = file_name_begin(path);
    while (end > first && is_separator(path[end - 1])) --end;
    return path.substr(0, end);
}

std::wstring parent_path(std::wstring_view path) {
    return std::wstring(parent_of(path));
}

std::wstring_view file_name(std::wstring_view path) {
    return path.substr(file_name_begin(path));
}

std::vector<std::wstring_view> path_elements(std::wstring_view path) {
    std::vector<std::wstring_view> elements;
    elements.reserve(kUsualElements);
    const std::wstring_view root = root_name(path);
    if (!root.empty()) elements.push_back(root);
    std::size_t position = relative_begin(path);
    if (position > root.size()) elements.push_back(path.substr(root.size(), 1));
    while (position < path.size()) {
        const std::size_t end = find_separator(path, position);
        elements.push_back(path.substr(position, end - position));
        position = skip_separators(path, end);
        if (position == path.size() && end < path.size()) elements.emplace_back();
    }
    return elements;
}

namespace {

// A path behind its root name as a list of names and separators; an empty piece is a separator.
using Pieces = std::vector<std::wstring_view>;

Pieces split_pieces(std::wstring_view path) {
    Pieces pieces;
    pieces.reserve(2 * kUsualElements);
    std::size_t position = root_name(path).size();
    while (position < path.size()) {
        if (is_separator(path[position])) {
            pieces.emplace_back();
            position = skip_separators(path, position);
        } else {
            const std::size_t end = find_separator(path, position);
            pieces.push_back(path.substr(position, end - position));
            position = end;
        }
    }
    return pieces;
}

// Resolves "." and ".." in one walk: `kept` is always the normal form of what has been read.
Pieces resolve_dots(const Pieces& pieces) {
    Pieces kept;
    kept.reserve(pieces.size());
    const bool rooted = !pieces.empty() && pieces.front().empty();
    const std::size_t root = rooted ? 1 : 0;
    for (std::size_t i = 0; i < pieces.size(); ++i) {
        const std::wstring_view piece = pieces[i];
        const bool separator_follows = i + 1 < pieces.size();
        if (piece == L".") {
            if (separator_follows) ++i;
        } else if (piece == L".." && kept.size() >= root + 2 && kept[kept.size() - 2] != L"..") {
            kept.resize(kept.size() - 2);
            if (separator_follows) ++i;
        } else if (piece == L".." && rooted && kept.size() == root) {
            if (separator_follows) ++i;
        } else {
            kept.push_back(piece);
        }
    }
    if (kept.size() >= 2 && kept.back().empty() && kept[kept.size() - 2] == L"..") kept.pop_back();
    return kept;
}

// Whether nothing is to be resolved: most paths are in order.
bool is_normal(std::wstring_view path) {
    if (path.find(L'/') != std::wstring_view::npos) return false;
    std::size_t position = root_name(path).size();
    while (position < path.size()) {
        const std::size_t begin = is_separator(path[position]) ? position + 1 : position;
        const std::size_t end = find_separator(path, begin);
        const std::wstring_view component = path.substr(begin, end - begin);
        if (component == L"." || component == L".." || (component.empty() && end < path.size())) return false;
        position = end;
    }
    return true;
}

}  // namespace

std::wstring lexically_normal(std::wstring_view path) {
    if (is_normal(path)) return std::wstring(path);
    std::wstring normal;
    normal.reserve(path.size());
    normal = root_name(path);
    std::ranges::replace(normal, L'/', L'\\');
    for (const std::wstring_view piece : resolve_dots(split_pieces(path))) {
        if (piece.empty()) {
            normal += L'\\';
        } else {
            normal += piece;
        }
    }
    return normal.empty() ? L"." : normal;
}

std::wstring lexically_relative(std::wstring_view target, std::wstring_view base) {
    if (root_name(target) != root_name(base) || is_absolute(target) != is_absolute(base) ||
        (!has_root_directory(target) && has_root_directory(base))) {
        return {};
    }
    const auto from = path_elements(base);
    const auto to = path_elements(target);
    const auto [base_rest, target_rest] = std::ranges::mismatch(from, to);
    std::ptrdiff_t up = 0;
    for (auto element = base_rest; element != from.end(); ++element) {
        if (*element == L"..") {
            --up;
        } else if (!element->empty() && *element != L".") {
            ++up;
        }
    }
    if (up < 0) return {};
    if (up == 0 && (target_rest == to.end() || target_rest->empty())) return L".";
    std::wstring relative;
    relative.reserve(target.size());
    for (; up > 0; --up) append(relative, L"..");
    for (auto element = target_rest; element != to.end(); ++element) append(relative, *element);
    return relative;
}

bool try_absolute(const std::wstring& path, std::wstring& result, std::uint32_t& error) {
    result.clear();
    if (path.empty()) return true;
    std::wstring buffer(260, L'\0');
    for (;;) {
        const auto capacity = static_cast<DWORD>(buffer.size());
        const DWORD length = GetFullPathNameW(path.c_str(), capacity, buffer.data(), nullptr);
        if (length == 0) {
            error = GetLastError();
            return false;
        }
        const bool complete = length < capacity;
        buffer.resize(length);
        if (complete) break;
    }
    result = std::move(buffer);
    return true;
}

std::wstring absolute(const std::wstring& path) {
    std::wstring result;
    std::uint32_t error = 0;
    if (!try_absolute(path, result, error)) throw_file_system_error("absolute", error);
    return result;
}

}  // namespace vandrel
