// Opening, reading, writing, deleting and copying files, and who else may have them open.
#include "lab/probes/probe.h"

namespace {

using namespace probe;

constexpr DWORD kRead = GENERIC_READ;
constexpr DWORD kWrite = GENERIC_WRITE;

std::string opened(const wchar_t* name, DWORD access, DWORD disposition, DWORD flags = 0, DWORD share = kShareAll) {
    HANDLE file = open(name, access, share, disposition, flags);
    const std::string result = outcome(file != INVALID_HANDLE_VALUE);
    if (file != INVALID_HANDLE_VALUE) CloseHandle(file);
    return result;
}

void opening() {
    say("CREATE_NEW on a free name", opened(L"new", kWrite, CREATE_NEW));
    say("CREATE_NEW on a file", opened(L"new", kWrite, CREATE_NEW));
    say("CREATE_NEW on a folder", opened(L"real", kWrite, CREATE_NEW));
    say("CREATE_NEW on a link", opened(L"link", kWrite, CREATE_NEW));
    say("CREATE_NEW in a missing folder", opened(L"missing\\new", kWrite, CREATE_NEW));
    say("CREATE_NEW through a link", opened(L"link\\made", kWrite, CREATE_NEW));
    say("CREATE_NEW with a bad name", opened(L"a?b", kWrite, CREATE_NEW));
    say("OPEN_EXISTING of a file", opened(L"NEW", kRead, OPEN_EXISTING));
    say("OPEN_EXISTING of a missing file", opened(L"missing", kRead, OPEN_EXISTING));
    say("OPEN_EXISTING in a missing folder", opened(L"missing\\x", kRead, OPEN_EXISTING));
    say("OPEN_EXISTING of a folder", opened(L"real", kRead, OPEN_EXISTING));
    say("OPEN_EXISTING of a folder as such", opened(L"real", kRead, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS));
}

// A second opening beside a first one: both the other's share and its own access count.
void sharing() {
    struct Row {
        const char* key;
        DWORD first_access, first_share, access, share;
    };
    constexpr Row rows[] = {
        {"read beside read that shares reading", kRead, FILE_SHARE_READ, kRead, FILE_SHARE_READ},
        {"read beside read that shares nothing", kRead, 0, kRead, kShareAll},
        {"write beside read that shares reading", kRead, FILE_SHARE_READ, kWrite, kShareAll},
        {"write beside read that shares all", kRead, kShareAll, kWrite, kShareAll},
        {"read without shared writing beside write", kWrite, kShareAll, kRead, FILE_SHARE_READ},
        {"read with shared writing beside write", kWrite, kShareAll, kRead, FILE_SHARE_READ | FILE_SHARE_WRITE},
        {"delete beside read that shares no delete", kRead, FILE_SHARE_READ | FILE_SHARE_WRITE, DELETE, kShareAll},
        {"attributes beside read that shares nothing", kRead, 0, FILE_READ_ATTRIBUTES, 0},
    };
    for (const Row& row : rows) {
        put(L"shared", "x");
        HANDLE first = open(L"shared", row.first_access, row.first_share, OPEN_EXISTING);
        say(row.key, opened(L"shared", row.access, OPEN_EXISTING, 0, row.share));
        CloseHandle(first);
    }
}

void deleting() {
    say("delete a missing file", outcome(DeleteFileW(L"missing")));
    say("delete in a missing folder", outcome(DeleteFileW(L"missing\\x")));
    say("delete a folder", outcome(DeleteFileW(L"real")));
    say("delete a link to a folder", outcome(DeleteFileW(L"link")));
    put(L"gone", "x");
    make_read_only(L"C:\\probe\\gone", true);
    say("delete a read-only file", outcome(DeleteFileW(L"gone")));
    make_read_only(L"C:\\probe\\gone", false);
    HANDLE holder = open(L"gone", kRead, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_EXISTING);
    say("delete, held without share delete", outcome(DeleteFileW(L"gone")) + ", then " + content(L"gone"));
    CloseHandle(holder);
    holder = open(L"gone", kRead, kShareAll, OPEN_EXISTING);
    say("delete, held with share delete", outcome(DeleteFileW(L"gone")));
    say("its name while held", opened(L"gone", kRead, OPEN_EXISTING), "what is to be deleted can still be opened");
    CloseHandle(holder);
    say("its name afterwards", opened(L"gone", kRead, OPEN_EXISTING));
}

HANDLE hold(const wchar_t* name, DWORD access = FILE_LIST_DIRECTORY, DWORD share = FILE_SHARE_READ | FILE_SHARE_WRITE) {
    return open(name, access, share, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT);
}

// Somebody empties a folder, and holds it so that it stays where it is.
void holding() {
    for (const wchar_t* name : {L"up", L"up\\held", L"up\\held\\sub"}) CreateDirectoryW(name, nullptr);
    HANDLE holder = hold(L"up\\held");
    say("move a held folder", outcome(MoveFileExW(L"up\\held", L"moved", 0)));
    say("remove what lies in it", outcome(RemoveDirectoryW(L"up\\held\\sub")));
    say("remove it while it is held", outcome(RemoveDirectoryW(L"up\\held")));
    say("hold it beside one who shares no deletion", outcome(CloseHandle(hold(L"up\\held"))));
    CloseHandle(holder);
    holder = hold(L"up\\held", DELETE, kShareAll);
    say("hold it beside one who may delete it", outcome(hold(L"up\\held") != INVALID_HANDLE_VALUE));
    CloseHandle(holder);
    BY_HANDLE_FILE_INFORMATION seen{};
    holder = hold(L"link");
    GetFileInformationByHandle(holder, &seen);
    say("a held link's attributes", hexadecimal(seen.dwFileAttributes), "a link is followed");
    CloseHandle(holder);
    holder = hold(L"up\\held");
    say("move the folder around a held one", outcome(MoveFileExW(L"up", L"moved", 0)), "it can be moved");
    CloseHandle(holder);
}

void transfers() {
    put(L"data", "0123456789");
    HANDLE file = open(L"data", kRead, kShareAll, OPEN_EXISTING);
    LARGE_INTEGER size{};
    say("size", outcome(GetFileSizeEx(file, &size)) + " " + number(static_cast<std::uint64_t>(size.QuadPart)));
    char buffer[8];
    for (const char* key : {"first read", "second read", "read at the end"}) {
        DWORD done = 99;
        const std::string result = outcome(ReadFile(file, buffer, sizeof buffer, &done, nullptr));
        say(key, result + " " + number(done));
    }
    CloseHandle(file);
    file = open(L"data", kWrite, 0, OPEN_EXISTING);
    DWORD done = 99;
    say("write", outcome(WriteFile(file, "x", 1, &done, nullptr)) + " " + number(done));
    say("flush", outcome(FlushFileBuffers(file)));
    CloseHandle(file);
}

void copying() {
    put(L"from", "content");
    say("copy to a free name", outcome(CopyFileW(L"from", L"copy", TRUE)) + ", then " + content(L"copy"));
    say("copy to a taken name", outcome(CopyFileW(L"from", L"data", TRUE)) + ", then " + content(L"data"));
    say("copy a missing file", outcome(CopyFileW(L"missing", L"other", TRUE)));
    say("copy into a missing folder", outcome(CopyFileW(L"from", L"missing\\x", TRUE)));
    HANDLE holder = open(L"from", kRead, 0, OPEN_EXISTING);
    say("copy a held file", outcome(CopyFileW(L"from", L"other", TRUE)));
    CloseHandle(holder);
}

}  // namespace

void probe::run() {
    opening();
    sharing();
    deleting();
    holding();
    transfers();
    copying();
}
