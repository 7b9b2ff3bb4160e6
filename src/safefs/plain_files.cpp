#include "safefs/plain_files.h"

namespace vandrel {

bool is_plain_file(const std::wstring& path) {
    const DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & kFolderOrReparse) == 0;
}

bool discard_temporary_file(const std::wstring& path) {
    const DWORD attributes = GetFileAttributesW(path.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) return GetLastError() == ERROR_FILE_NOT_FOUND;
    if ((attributes & kFolderOrReparse) != 0) return false;
    return DeleteFileW(path.c_str()) != 0;
}

}  // namespace vandrel
