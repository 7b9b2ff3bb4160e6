// A library that somebody has put where it doesn't belong. Run by a program, it notes so: the program's path is added
// to a file beside the library, NAME.dll.ran.

#include <windows.h>

BOOL WINAPI DllMain(HINSTANCE library, DWORD reason, void* reserved) {
    char mark[MAX_PATH + 8], program[MAX_PATH];
    DWORD written;
    (void)reserved;
    if (reason != DLL_PROCESS_ATTACH) return TRUE;
    GetModuleFileNameA(library, mark, MAX_PATH);
    lstrcatA(mark, ".ran");
    HANDLE file = CreateFileA(mark, FILE_APPEND_DATA, FILE_SHARE_READ, NULL, OPEN_ALWAYS, 0, NULL);
    WriteFile(file, program, GetModuleFileNameA(NULL, program, MAX_PATH), &written, NULL);
    CloseHandle(file);
    return TRUE;
}
