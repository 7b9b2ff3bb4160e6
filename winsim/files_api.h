// What the bodies of the file calls share.
#pragma once

#include <windows.h>

#include <cstdint>
#include <string_view>

#include "winsim/disk_impl.h"
#include "winsim/world.h"

namespace winsim {

inline std::wstring_view view_of(LPCWSTR text) {
    return text == nullptr ? std::wstring_view() : text;
}

// Where `path` leads the running program. Error 5 for a name whose deletion waits for a handle.
Place locate(World& world, std::wstring_view path, bool follow_last);

// Why no file can be made under the free name at `place`: 123, or 0. (Streams can't.)
std::uint32_t new_file_obstacle(const Place& place);

// The file of an open handle, for a call's subject: the path it was opened by.
std::wstring_view opened_path(HANDLE handle);
// The open handle itself; a handle that isn't open is a forbidden call.
Open& require_open(World& world, HANDLE handle, const char* call);

FILETIME to_filetime(std::uint64_t time);
DWORD visible_attributes(std::uint32_t attributes);  // 0x80 stands for none

// Fills the fields that the three structures of file information have in common.
template <class Information>
void describe(Information& information, std::uint32_t attributes, std::uint64_t write_time, std::uint64_t size) {
    information.dwFileAttributes = visible_attributes(attributes);
    information.ftCreationTime = to_filetime(write_time);
    information.ftLastAccessTime = to_filetime(write_time);
    information.ftLastWriteTime = to_filetime(write_time);
    information.nFileSizeHigh = static_cast<DWORD>(size >> 32);
    information.nFileSizeLow = static_cast<DWORD>(size);
}

}  // namespace winsim
