// The user's known folders.
#pragma once

#include <windows.h>

#define CSIDL_APPDATA 26

// `path` has room for 260 units. Negative on failure.
HRESULT WINAPI SHGetFolderPathW(HWND owner, int folder, HANDLE token, DWORD flags, LPWSTR path);
