#include "helper_run.h"

#include <vector>

#include "client_error.h"
#include "text.h"

namespace vandrel_client {
namespace {

constexpr const wchar_t* kHelper = L"Vandrel Updater.exe";
constexpr const wchar_t* kClients[] = {L"brindler_dx_x64.exe", L"brindler_gl_x64.exe"};

std::filesystem::path own_path() {
    std::vector<wchar_t> buffer(32768);
    const DWORD length = GetModuleFileNameW(nullptr, buffer.data(), static_cast<DWORD>(buffer.size()));
    if (length == 0 || length >= buffer.size()) throw ClientError(VANDREL_FAILED);
    return std::wstring(buffer.data(), length);
}

// The name as the helper takes it. The system starts a program under any spelling of its name and hands that on; the
// helper takes two names, to the letter.
std::wstring accepted_name(const std::wstring& name) {
    for (const wchar_t* accepted : kClients) {
        if (CompareStringOrdinal(name.c_str(), -1, accepted, -1, TRUE) == CSTR_EQUAL) return accepted;
    }
    throw ClientError(VANDREL_WRONG_CLIENT_NAME, 0);
}

// Nothing where the system or its caller doesn't want a group; then the helper runs without.
Handle group_for(HANDLE process, bool without_group) {
    if (without_group) return nullptr;
    Handle group(CreateJobObjectW(nullptr, nullptr));
    if (group && !AssignProcessToJobObject(group.get(), process)) group.reset();
    return group;
}

}  // namespace

std::wstring quote_argument(const std::wstring& text) {
    std::wstring result = L"\"";
    size_t backslashes = 0;
    for (const wchar_t unit : text) {
        if (unit == L'\\') {
            ++backslashes;
            continue;
        }
        result.append(unit == L'"' ? 2 * backslashes + 1 : backslashes, L'\\');
        result += unit;
        backslashes = 0;
    }
    result.append(2 * backslashes, L'\\');
    return result + L'"';
}

std::wstring helper_command_line(const std::filesystem::path& helper, const std::wstring& client_name,
                                 unsigned long client_pid, const JobFiles& files) {
    return quote_argument(helper.native()) + L" /CHECK /ARCH=64 /JOB=" + to_wide(files.job) + L" /STATUS=" +
           quote_argument(files.status.native()) + L" /WAITPID=" + std::to_wstring(client_pid) + L" /CLIENT=" +
           quote_argument(client_name);
}

HelperRun::HelperRun(const JobFiles& files, bool without_group) {
    const std::filesystem::path client = own_path();
    const std::filesystem::path helper = client.parent_path() / kHelper;
    std::wstring command =
        helper_command_line(helper, accepted_name(client.filename().native()), GetCurrentProcessId(), files);
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION started{};
    if (!CreateProcessW(helper.c_str(), command.data(), nullptr, nullptr, FALSE, CREATE_SUSPENDED | CREATE_NO_WINDOW,
                        nullptr, client.parent_path().c_str(), &startup, &started)) {
        throw ClientError(VANDREL_NO_HELPER);
    }
    const Handle process(started.hProcess);
    const Handle thread(started.hThread);
    // Suspended until it belongs to the group: its copy must not be started before.
    group_ = group_for(process.get(), without_group);
    ResumeThread(thread.get());
}

int HelperRun::is_running() const {
    JOBOBJECT_BASIC_ACCOUNTING_INFORMATION count{};
    if (!group_ ||
        !QueryInformationJobObject(group_.get(), JobObjectBasicAccountingInformation, &count, sizeof count, nullptr)) {
        return -1;
    }
    return count.ActiveProcesses != 0 ? 1 : 0;
}

}  // namespace vandrel_client
