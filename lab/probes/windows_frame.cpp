// A probe as a Windows program: C:\probe has been made by run.py, with the program itself as probe.exe.
#include <cstring>
#include <map>
#include <thread>

#include "lab/probes/probe.h"

namespace {

std::map<DWORD, HANDLE> others;  // by process number

}  // namespace

void probe::make_read_only(const wchar_t* path, bool on) {
    SetFileAttributesW(path, FILE_ATTRIBUTE_ARCHIVE | (on ? FILE_ATTRIBUTE_READONLY : 0U));
}

void probe::set_write_time(const wchar_t* path, std::uint64_t ticks) {
    HANDLE file = open(path, FILE_WRITE_ATTRIBUTES, kShareAll, OPEN_EXISTING);
    const FILETIME time = {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
    SetFileTime(file, nullptr, nullptr, &time);
    CloseHandle(file);
}

DWORD probe::start_other() {
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    wchar_t command_line[] = L"probe.exe wait";
    CreateProcessW(L"C:\\probe\\probe.exe", command_line, nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                   &process);
    CloseHandle(process.hThread);
    others[process.dwProcessId] = process.hProcess;
    return process.dwProcessId;
}

void probe::end_other(DWORD id) {
    TerminateProcess(others[id], 1);
    WaitForSingleObject(others[id], 10000);
    CloseHandle(others[id]);
}

void probe::abandon_mutex(const wchar_t* name) {
    std::thread([name] { WaitForSingleObject(CreateMutexW(nullptr, FALSE, name), 0); }).join();
}

int main(int count, char** arguments) {
    if (count > 1 && std::strcmp(arguments[1], "wait") == 0) {
        Sleep(60000);
        return 0;
    }
    if (!SetCurrentDirectoryW(L"C:\\probe")) return 1;
    probe::run();
    return 0;
}
