// A client that does nothing. Installed under a client's name it is what the helper proves, waits for and starts again:
//   idle_client --until FILE   prints "pid N", lives until FILE exists (or it is killed), ends with 0
//   idle_client [ARGUMENTS]    appends its arguments, or "-", as a line to the file that the environment variable
//                              VANDREL_TEST_STARTS names, and ends with 0: that is how a start by the helper is seen

#include <windows.h>

#include <shellapi.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

void wait_for(const std::wstring& file) {
    std::printf("pid %lu\n", GetCurrentProcessId());
    std::fflush(stdout);
    while (GetFileAttributesW(file.c_str()) == INVALID_FILE_ATTRIBUTES) Sleep(20);
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
    if (count == 3 && std::wstring(texts[1]) == L"--until") {
        wait_for(texts[2]);
        return 0;
    }
    std::wstring arguments;
    for (int index = 1; index < count; ++index) arguments += (index > 1 ? L" " : L"") + std::wstring(texts[index]);
    note_start(arguments);
    return 0;
}
