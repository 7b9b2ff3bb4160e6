#include "lab/kit/programs.h"

#include <algorithm>
#include <stdexcept>
#include <system_error>

#include "lab/kit/files.h"

namespace kit {
namespace {

namespace fs = std::filesystem;

constexpr DWORD kProgramLimit_ms = 60000;
constexpr DWORD kPoll_ms = 20;
constexpr DWORD kLongestPath = 1024;
constexpr std::size_t kMost = 64;  // programs of a group

[[noreturn]] void fail(const std::string& what) {
    throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), what);
}

bool counts(DWORD id) {
    const Handle process(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, id));
    wchar_t image[kLongestPath] = {};
    DWORD room = kLongestPath;
    if (!process || !QueryFullProcessImageNameW(process.get(), 0, image, &room)) return false;  // it is ending
    wchar_t windows[MAX_PATH] = {};
    const int length = static_cast<int>(GetWindowsDirectoryW(windows, MAX_PATH));
    return CompareStringOrdinal(image, length, windows, length, TRUE) != CSTR_EQUAL;
}

}  // namespace

Group::Group() : job_(CreateJobObjectW(nullptr, nullptr)) {
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
    limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
    if (!job_ || !SetInformationJobObject(job_.get(), JobObjectExtendedLimitInformation, &limits, sizeof limits)) {
        fail("making a job object");
    }
}

Group::~Group() {
    TerminateJobObject(job_.get(), 1);
    for (DWORD waited = 0; is_running() && waited < kProgramLimit_ms; waited += kPoll_ms) Sleep(kPoll_ms);
}

Program Group::start(const fs::path& program, const std::wstring& arguments, const fs::path& folder, HANDLE output) {
    std::wstring command = vandrel_client::quote_argument(program.native()) + L" " + arguments;
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = output == nullptr ? 0U : STARTF_USESTDHANDLES;
    startup.hStdOutput = output;
    PROCESS_INFORMATION started{};
    if (!CreateProcessW(program.c_str(), command.data(), nullptr, nullptr, output != nullptr,
                        CREATE_SUSPENDED | CREATE_NO_WINDOW, nullptr, folder.c_str(), &startup, &started)) {
        fail("starting " + program.filename().string());
    }
    const Handle thread(started.hThread);
    Program result{Handle(started.hProcess), started.dwProcessId};
    if (!AssignProcessToJobObject(job_.get(), result.process.get())) {
        TerminateProcess(result.process.get(), 1);
        fail("grouping " + program.filename().string());
    }
    ResumeThread(thread.get());
    return result;
}

bool Group::is_running() const {
    alignas(JOBOBJECT_BASIC_PROCESS_ID_LIST) char
        memory[sizeof(JOBOBJECT_BASIC_PROCESS_ID_LIST) + kMost * sizeof(ULONG_PTR)];
    auto* list = reinterpret_cast<JOBOBJECT_BASIC_PROCESS_ID_LIST*>(memory);
    if (!QueryInformationJobObject(job_.get(), JobObjectBasicProcessIdList, list, sizeof memory, nullptr)) return true;
    const ULONG_PTR* ids = list->ProcessIdList;
    return std::any_of(ids, ids + list->NumberOfProcessIdsInList,
                       [](ULONG_PTR id) { return counts(static_cast<DWORD>(id)); });
}

bool Group::wait(DWORD limit_ms) {
    for (const ULONGLONG end = GetTickCount64() + limit_ms; GetTickCount64() < end; Sleep(kPoll_ms)) {
        if (!is_running()) return true;
    }
    TerminateJobObject(job_.get(), 1);
    return false;
}

void Group::end(const Program& program) {
    TerminateProcess(program.process.get(), 0);
    WaitForSingleObject(program.process.get(), kProgramLimit_ms);
}

fs::path command_shell() {
    wchar_t folder[MAX_PATH] = {};
    GetSystemDirectoryW(folder, MAX_PATH);
    return fs::path(folder) / "cmd.exe";
}

std::string output_of(const fs::path& program, const std::wstring& arguments, const fs::path& folder,
                      const fs::path& output) {
    SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
    const HANDLE file = CreateFileW(output.c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inherited, CREATE_ALWAYS,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) fail("making " + output.filename().string());
    const Handle closed(file);
    Group group;
    const Program running = group.start(program, arguments, folder, file);
    DWORD code = 1;
    const bool has_ended = WaitForSingleObject(running.process.get(), kProgramLimit_ms) == WAIT_OBJECT_0;
    if (!has_ended || !GetExitCodeProcess(running.process.get(), &code) || code != 0) {
        throw std::runtime_error(program.filename().string() + " came to no good end, code " + std::to_string(code));
    }
    return content_of(output);
}

}  // namespace kit
