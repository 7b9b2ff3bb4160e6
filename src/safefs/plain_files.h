// Plain files: what is neither a folder nor a reparse point, and so may be written, renamed and cleared away by name.
#pragma once

#include <windows.h>

#include <string>

namespace vandrel {

// The attributes of what is no plain file.
inline constexpr DWORD kFolderOrReparse = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;

// What stands at `path` is a plain file: no folder, no reparse point, and there. The last error tells why not.
bool is_plain_file(const std::wstring& path);

// Removes a leftover plain file. True if it is gone or was never there; a folder or reparse point is left alone. Not
// flushed: after a power cut the file may be back.
bool discard_temporary_file(const std::wstring& path);

}  // namespace vandrel
