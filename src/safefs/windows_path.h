// The grammar of Windows paths, on text alone.
//
// "\" and "/" both separate. A path is a root name (a drive "C:", a server "\\server", or the device prefix "\\?" or
// "\\."), a root directory (a separator behind it), and components. Nothing here touches a disk but `absolute`, which
// asks the platform for the current folder.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vandrel {

bool is_separator(wchar_t unit);

// "C:", "\\server", "\\?", "\\.", "\??" or empty. Three leading separators, or two with nothing behind, are no root
// name.
std::wstring_view root_name(std::wstring_view path);
bool has_root_directory(std::wstring_view path);

// A drive letter, ":" and a separator; or a root name that is no drive.
bool is_absolute(std::wstring_view path);

// `right` with a root of its own replaces what stands before it; an empty one adds a separator; "C:" with "b" is "C:b".
// `right` may not be a view into `path`.
void append(std::wstring& path, std::wstring_view right);
std::wstring join(std::wstring_view left, std::wstring_view right);

// Without the last component and the separators before it. A root is its own parent; a single relative name has the
// empty one. It is a beginning of the path.
std::wstring_view parent_of(std::wstring_view path);
std::wstring parent_path(std::wstring_view path);

// The text behind the last separator, never the root: empty for "C:\" and for a path that ends in a separator.
std::wstring_view file_name(std::wstring_view path);

// Root name, root directory, then each component, as views into `path`; a trailing separator gives one empty element
// last.
std::vector<std::wstring_view> path_elements(std::wstring_view path);

// Separators become "\", runs of them one; "." goes; a name followed by ".." goes with it; ".." beneath a root goes. A
// trailing separator stays. What leaves nothing gives "."; an empty path stays empty.
std::wstring lexically_normal(std::wstring_view path);

// The path that leads from `base` to `target`, "." if they are equal; empty if the roots differ. Components are
// compared exactly, with case; an empty last element of `base` isn't counted.
std::wstring lexically_relative(std::wstring_view target, std::wstring_view base);

// The full path of `path` by GetFullPathNameW: "." and ".." resolved, separators "\". Touches no disk. An empty path
// gives an empty result. On failure false, with `error` the platform's number.
bool try_absolute(const std::wstring& path, std::wstring& result, std::uint32_t& error);

// The same; throws std::system_error "absolute" on failure.
std::wstring absolute(const std::wstring& path);

}  // namespace vandrel
