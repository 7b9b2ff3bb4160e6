// The text of a full path, as GetFullPathNameW gives it; no disk is touched.
#pragma once

#include <string>
#include <string_view>

namespace winsim {

// The full form of `path` in a process whose current folder is `current_folder` (a full path; the current folder of
// every other drive is its root). Separators become "\", runs of them one; "." and ".." are resolved, ".." beneath a
// root goes; trailing dots and blanks of the last component go; a trailing separator stays; a device's name becomes
// "\\.\con". Empty for a path of blanks only. The text is good until the next call on this thread.
const std::wstring& full_path(std::wstring_view path, std::wstring_view current_folder);

}  // namespace winsim
