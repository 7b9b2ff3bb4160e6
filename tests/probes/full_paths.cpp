// What GetFullPathNameW makes of a path; the current folder is C:\probe.
#include "lab/probes/probe.h"

namespace {

using namespace probe;

constexpr const wchar_t* kPaths[] = {
    L"a", L"a\\b", L"a/b", L".\\x", L"..\\x", L"..\\..\\..\\x", L".", L"..", L"./", L" a", L"a ", L"x/./y/../z/",
    // Of a drive
    L"C:\\", L"C:/", L"C:\\\\", L"C:\\a\\..\\b", L"C:\\a\\.\\b", L"C:\\a\\b\\..", L"C:\\a\\b\\..\\", L"C:\\a\\.",
    L"C:\\..", L"C:\\..\\..\\x", L"C:\\a\\\\b", L"C:x", L"C:.", L"c:x", L"C:..\\..\\b", L"Q:x", L"\\x", L"\\x\\..\\..",
    // Dots and blanks
    L"C:\\a.", L"C:\\a. .", L"C:\\a.\\b", L"C:\\a \\b", L"C:\\a .\\b", L"C:\\a\\...", L"C:\\a\\... ", L"C:\\a\\ ",
    L"C:\\a\\.. ", L"C:\\.a", L"C:\\..a", L"C:\\a\\..b\\c",
    // Devices
    L"con", L"Con.txt", L"C:\\x\\con", L"C:\\x\\nul.a.b", L"con ", L"con:", L"con\\x", L"com1", L"com0", L"COM9.x",
    L"lpt3", L"aux", L"conin$", L"clock$", L"confuse", L"C:\\x\\con\\",
    // Networks and roots of their own
    L"\\\\server\\share", L"\\\\server\\share\\", L"\\\\server\\share\\a\\..\\..\\b", L"//server/share/x",
    L"\\\\server\\share\\a.", L"\\\\?\\C:\\a\\..\\b", L"\\\\?\\C:\\..\\b", L"\\\\?\\C:\\a.", L"//?/C:/a/../b",
    L"\\\\?\\UNC\\s\\h\\..\\x", L"\\\\.\\con", L"\\\\?\\C:\\",
    // What no file may be called
    L"C:\\a?b", L"C:\\a*", L"a\tb", L"a:b", L"ab:c", L"\x00e9\\..\\x"};

void full(const wchar_t* path, const char* wine = nullptr) {
    wchar_t buffer[300];
    const DWORD size = GetFullPathNameW(path, 300, buffer, nullptr);
    say("full " + shown(path), shown({buffer, size}), wine);
}

}  // namespace

void probe::run() {
    for (const wchar_t* path : kPaths) full(path);
    full(L"C:", "a separator is added");
    for (const wchar_t* path : {L"C:\\a..\\b", L"a\\...\\c"}) full(path, "a folder's last dot goes, single or not");
    for (const wchar_t* path : {L"", L" ", L"   "}) {
        say("full " + shown(path), number(GetFullPathNameW(path, 0, nullptr, nullptr)));
    }
    for (const DWORD room : {0U, 5U, 8U, 9U}) {  // the text needs 8 units and its end
        wchar_t buffer[16] = L"zzzzzzzzz";
        const DWORD result = GetFullPathNameW(L"C:\\a\\xbc", room, buffer, nullptr);
        say("full, room for " + number(room), number(result) + (result < room ? " " + shown(buffer) : ""));
    }
}
