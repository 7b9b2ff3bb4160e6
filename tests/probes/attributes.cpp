// Attributes, sizes and times of names, folders made and removed, and what a search finds.
#include <algorithm>
#include <vector>

#include "lab/probes/probe.h"

namespace {

using namespace probe;

constexpr std::uint64_t kTime = 133'700'000'012'345'678;  // of no round unit

std::uint64_t ticks(const FILETIME& time) {
    return (std::uint64_t{time.dwHighDateTime} << 32) | time.dwLowDateTime;
}

void names() {
    struct Row {
        const char* key;
        const wchar_t* path;
        const char* wine = nullptr;
    };
    constexpr Row rows[] = {
        {"a file", L"real\\inside"},
        {"a file, other case", L"C:\\PROBE\\Real\\INSIDE"},
        {"a folder", L"real"},
        {"a folder with a separator", L"real\\"},
        {"the drive", L"C:\\"},
        {"a link", L"link"},
        {"a file through a link", L"link\\inside"},
        {"a missing name", L"missing"},
        {"a missing folder on the way", L"missing\\x"},
        {"a file on the way", L"real\\inside\\x"},
        {"a missing name through a link", L"link\\x"},
        {"a stream", L"real\\inside:x"},
        {"a character that no name has", L"a?b"},
        {"nothing", L""},
        {"a drive that isn't there", L"Q:\\x", "an unknown drive gives 2"},
        {"the root of device paths", L"\\\\?"},
        {"a server that isn't there", L"\\\\nowhere\\share\\x", "an unknown server gives 66"},
    };
    for (const Row& row : rows) {
        SetLastError(0);
        const DWORD found = GetFileAttributesW(row.path);
        const std::string brief = found == INVALID_FILE_ATTRIBUTES ? outcome(false) : hexadecimal(found);
        WIN32_FILE_ATTRIBUTE_DATA data{};
        const bool done = GetFileAttributesExW(row.path, GetFileExInfoStandard, &data) != FALSE;
        const std::string size = " size " + number(done ? data.nFileSizeLow : 0);
        const std::string all = done ? hexadecimal(data.dwFileAttributes) + size : outcome(false);
        say(std::string("attributes of ") + row.key, brief + "; " + all, row.wine);
    }
}

// Which names that differ in case alone are one.
void other_case() {
    struct Row {
        const char* key;
        const wchar_t* made;
        const wchar_t* asked;
        const char* wine = nullptr;
    };
    constexpr Row rows[] = {
        {"e acute", L"\x00e9", L"\x00c9"},
        {"y diaeresis", L"\x00ff", L"\x0178"},
        {"cyrillic ya", L"\x044f", L"\x042f"},
        {"final sigma", L"\x03c2", L"\x03a3", "a final sigma has no capital"},
        {"sharp s", L"\x00df", L"\x1e9e"},
        {"dotless i", L"\x0131", L"I"},
        {"long s", L"\x017f", L"S"},
        {"kelvin", L"\x212a", L"k"},
        {"deseret", L"\xd801\xdc28", L"\xd801\xdc00"},
    };
    for (const Row& row : rows) {
        put(row.made, "");
        SetLastError(0);
        const bool found = GetFileAttributesW(row.asked) != INVALID_FILE_ATTRIBUTES;
        say(std::string("other case of ") + row.key, found ? "found" : outcome(false), row.wine);
        DeleteFileW(row.made);
    }
}

void times() {
    put(L"timed", "12345");
    set_write_time(L"C:\\probe\\timed", kTime);
    WIN32_FILE_ATTRIBUTE_DATA data{};
    GetFileAttributesExW(L"timed", GetFileExInfoStandard, &data);
    say("write time", number(ticks(data.ftLastWriteTime)));
    CopyFileW(L"timed", L"copied", TRUE);
    GetFileAttributesExW(L"copied", GetFileExInfoStandard, &data);
    say("write time of a copy", number(ticks(data.ftLastWriteTime)));
    MoveFileExW(L"copied", L"moved", MOVEFILE_WRITE_THROUGH);
    WIN32_FIND_DATAW found{};
    FindClose(FindFirstFileW(L"moved", &found));
    say("write time of a renamed file, as found", number(ticks(found.ftLastWriteTime)));
    HANDLE file = open(L"moved", GENERIC_READ, kShareAll, OPEN_EXISTING);
    BY_HANDLE_FILE_INFORMATION information{};
    GetFileInformationByHandle(file, &information);
    CloseHandle(file);
    say("write time by handle", number(ticks(information.ftLastWriteTime)));
    say("size and links by handle", number(information.nFileSizeLow) + " " + number(information.nNumberOfLinks));
    make_read_only(L"C:\\probe\\timed", true);
    CopyFileW(L"timed", L"also", TRUE);
    say("a copy of a read-only file", hexadecimal(GetFileAttributesW(L"also")));
}

void folders() {
    say("make a folder", outcome(CreateDirectoryW(L"made", nullptr)));
    say("make it again", outcome(CreateDirectoryW(L"made\\", nullptr)));
    say("make one over a file", outcome(CreateDirectoryW(L"timed", nullptr)));
    say("make one in a missing folder", outcome(CreateDirectoryW(L"missing\\x", nullptr)));
    say("make one with a bad name", outcome(CreateDirectoryW(L"a<b", nullptr)));
    put(L"made\\x", "");
    say("remove a full folder", outcome(RemoveDirectoryW(L"made")));
    DeleteFileW(L"made\\x");
    say("remove an empty folder", outcome(RemoveDirectoryW(L"made")));
    say("remove a missing folder", outcome(RemoveDirectoryW(L"made")));
    say("remove a file as a folder", outcome(RemoveDirectoryW(L"timed")));
    say("remove a link as a folder", outcome(RemoveDirectoryW(L"link")) + ", then " + content(L"real\\inside"),
        "a link to a folder that isn't empty stays");
}

// All that a pattern finds, in the order of the alphabet.
std::string found(const wchar_t* pattern) {
    WIN32_FIND_DATAW data{};
    SetLastError(0);
    HANDLE search = FindFirstFileW(pattern, &data);
    if (search == INVALID_HANDLE_VALUE) return outcome(false);
    std::vector<std::string> entries;
    do {
        entries.push_back(" " + shown(data.cFileName) + " " + hexadecimal(data.dwFileAttributes));
    } while (FindNextFileW(search, &data));
    const std::string end = outcome(false);
    FindClose(search);
    std::sort(entries.begin(), entries.end());
    std::string all;
    for (const std::string& entry : entries) all += entry;
    return end + all;
}

void searches() {
    put(L"real\\B.dat", "");
    CreateDirectoryW(L"real\\sub", nullptr);
    const wchar_t* const patterns[] = {L"real\\*",  L"real\\b*", L"real\\INSIDE", L"link",
                                       L"link\\i*", L"real\\no", L"real\\no*",    L"no\\*"};
    for (const wchar_t* pattern : patterns) say("search " + shown(pattern), found(pattern));
    say("search beneath a file", found(L"real\\inside\\*"), "a file in a folder's place is a bad name");
}

}  // namespace

void probe::run() {
    names();
    other_case();
    times();
    searches();
    folders();
}
