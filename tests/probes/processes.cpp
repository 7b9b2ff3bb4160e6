// Mutexes, other processes and program starts.
#include <windows.h>

#include <tlhelp32.h>

#include <algorithm>

#include "lab/probes/probe.h"

namespace {

using namespace probe;

constexpr DWORD kAccess = SYNCHRONIZE | PROCESS_QUERY_LIMITED_INFORMATION;

HANDLE create(const char* key, const wchar_t* name) {
    SetLastError(0);
    HANDLE mutex = CreateMutexW(nullptr, FALSE, name);
    say(key, (mutex != nullptr ? "made, " : "failed, ") + number(GetLastError()));
    return mutex;
}

void mutexes() {
    HANDLE first = create("a mutex", L"Local\\vandrel-probe");
    HANDLE again = create("it again", L"Local\\vandrel-probe");
    CloseHandle(create("another name", L"Local\\vandrel-probe-2"));
    say("take it", number(WaitForSingleObject(first, 0)));
    say("take it twice", number(WaitForSingleObject(again, 0)));
    say("release it", outcome(ReleaseMutex(first)));
    say("release it twice", outcome(ReleaseMutex(again)));
    CloseHandle(first);
    CloseHandle(again);
    CloseHandle(create("after its last handle", L"Local\\vandrel-probe"));
    abandon_mutex(L"Local\\vandrel-left");
    HANDLE left = create("an abandoned one", L"Local\\vandrel-left");
    say("take the abandoned one", hexadecimal(WaitForSingleObject(left, 0)));
    ReleaseMutex(left);
    say("take it once more", hexadecimal(WaitForSingleObject(left, 0)));
    ReleaseMutex(left);
    CloseHandle(left);
}

std::string image(HANDLE process, DWORD room) {
    wchar_t buffer[300];
    const bool done = QueryFullProcessImageNameW(process, 0, buffer, &room) != FALSE;
    return done ? shown({buffer, room}) : outcome(false);
}

std::string listed_as(DWORD id) {
    HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof entry;
    std::string name = "-";
    for (BOOL more = Process32FirstW(snapshot, &entry); more; more = Process32NextW(snapshot, &entry)) {
        if (entry.th32ProcessID == id) name = shown(entry.szExeFile);
    }
    const std::string end = outcome(false);
    CloseHandle(snapshot);
    return name + ", end " + end;
}

void others() {
    say("open no process", outcome(OpenProcess(kAccess, FALSE, 0xFFFFFFF0U) != nullptr));
    const DWORD id = start_other();
    HANDLE process = OpenProcess(kAccess, FALSE, id);
    say("open another process", outcome(process != nullptr));
    say("wait for it", number(WaitForSingleObject(process, 20)));
    say("its image", image(process, 300));
    say("its image, room for all but the end", image(process, 18));
    say("its image, room for all", image(process, 19));
    say("listed", listed_as(id));
    end_other(id);
    say("wait when it has ended", number(WaitForSingleObject(process, 0)));
    say("its image when it has ended", image(process, 300), "the image of an ended process is still told");
    HANDLE second = OpenProcess(kAccess, FALSE, id);
    say("open it while somebody holds it", outcome(second != nullptr));
    CloseHandle(second);
    CloseHandle(process);
    for (int wait = 0; wait < 5; ++wait) {  // Wine keeps an ended process for about half a second
        Sleep(1500);
        process = OpenProcess(kAccess, FALSE, id);
        if (process == nullptr) break;
        CloseHandle(process);
    }
    say("open it when nobody holds it", outcome(OpenProcess(kAccess, FALSE, id) != nullptr));
    say("listed when it has ended", listed_as(id));
}

std::string started(const wchar_t* application, const wchar_t* folder) {
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    wchar_t command_line[] = L"\"x\"";
    return outcome(CreateProcessW(application, command_line, nullptr, nullptr, FALSE, CREATE_NO_WINDOW, nullptr, folder,
                                  &startup, &process) != FALSE);
}

void starts() {
    put(L"empty.exe", "");
    say("start a missing program", started(L"C:\\probe\\missing.exe", nullptr));
    say("start an empty file", started(L"C:\\probe\\empty.exe", nullptr));
    say("start in a missing folder", started(L"C:\\probe\\probe.exe", L"C:\\probe\\missing"));
}

}  // namespace

void probe::run() {
    mutexes();
    others();
    starts();
}
