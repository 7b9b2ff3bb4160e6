// The floors as a program: floors plain|rules check|download|install TASK
// Prints "ready" and "done" and waits for a line behind each. Exit code 0, or 1 with a line on the error output.

#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "bench/floors/floors.h"
#include "bench/floors/must.h"

namespace {

struct Stage {
    std::wstring_view floor;
    std::wstring_view name;
    void (*run)(const floors::Task&);
};

constexpr Stage kStages[] = {
    {L"plain", L"check", floors::plain_check},       {L"plain", L"download", floors::plain_download},
    {L"plain", L"install", floors::plain_install},   {L"rules", L"check", floors::rules_check},
    {L"rules", L"download", floors::rules_download}, {L"rules", L"install", floors::rules_install},
};

}  // namespace

void floors::must(bool succeeded, const char* call) {
    if (succeeded) return;
    std::fprintf(stderr, "%s failed (%lu)\n", call, GetLastError());
    std::exit(1);
}

int wmain(int count, wchar_t** arguments);  // the C runtime calls it

int wmain(int count, wchar_t** arguments) {
    for (const Stage& stage : kStages) {
        if (count != 4 || stage.floor != arguments[1] || stage.name != arguments[2]) continue;
        stage.run(floors::read_task(arguments[3]));
        return 0;
    }
    std::fputs("usage: floors plain|rules check|download|install TASK\n", stderr);
    return 2;
}
