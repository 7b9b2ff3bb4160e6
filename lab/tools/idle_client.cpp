// A client that does nothing. Installed under a client's name it is what the helper proves, waits for and starts again:
//   idle_client --until FILE [HELD]   prints "pid N", lives until FILE exists (or it is killed), ends with 0; keeps the
//                                     file HELD open meanwhile, for reading, and lets others read it and no more
//   idle_client [ARGUMENTS]           appends its arguments, or "-", as a line to the file that VANDREL_TEST_STARTS in
//                                     the environment names, and ends with 0: so a start by the helper is seen
// A file that can't be held is told instead of the pid; the exit code is 1 then.

#include <windows.h>

#include <shellapi.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

int wait_for(const wchar_t* file, const wchar_t* held) {
    if (held != nullptr &&
        CreateFileW(held, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr) == INVALID_HANDLE_VALUE) {
        std::printf("the file isn't there to hold (%lu)\n", GetLastError());
        return 1;
    }
    std::printf("pid %lu\n", GetCurrentProcessId());
    std::fflush(stdout);
    while (GetFileAttributesW(file) == INVALID_FILE_ATTRIBUTES) Sleep(20);
    return 0;
}

void note_start(const std::wstring& arguments) {
    wchar_t file[MAX_PATH] = {};
    if (GetEnvironmentVariableW(L"VANDREL_TEST_STARTS", file, MAX_PATH) == 0) return;
    std::ofstream log(std::filesystem::path(file), std::ios::app | std::ios::binary);
    log << (arguments.empty() ? "-" : std::string(arguments.begin(), arguments.end())) << '\n';
}

}  // namespace

int main() {
    int count = 0;
    wchar_t** texts = CommandLineToArgvW(GetCommandLineW(), &count);
    if (count >= 3 && std::wstring(texts[1]) == L"--until") return wait_for(texts[2], count > 3 ? texts[3] : nullptr);
    std::wstring arguments;
    for (int index = 1; index < count; ++index) arguments += (index > 1 ? L" " : L"") + std::wstring(texts[index]);
    note_start(arguments);
    return 0;
}
