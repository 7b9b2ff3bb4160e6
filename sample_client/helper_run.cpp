#include "helper_run.h"

#include <stdexcept>
#include <vector>

namespace sample_client {
namespace {

[[noreturn]] void refuse(const char* step) {
    throw std::runtime_error(std::string("helper: ") + step + " (" + std::to_string(GetLastError()) + ")");
}

}  // namespace

std::filesystem::path own_path() {
    std::vector<wchar_t> buffer(32768);
    const DWORD length = GetModuleFileNameW(nullptr, buffer.data(), static_cast<DWORD>(buffer.size()));
    if (length == 0 || length >= buffer.size()) refuse("own path");
    return std::wstring(buffer.data(), length);
}

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
    return quote_argument(helper.native()) + L" /CHECK /ARCH=64 /JOB=" + files.job + L" /STATUS=" +
           quote_argument(files.status.native()) + L" /WAITPID=" + std::to_wstring(client_pid) + L" /CLIENT=" +
           quote_argument(client_name);
}

HelperRun::HelperRun(const JobFiles& files) : group_(CreateJobObjectW(nullptr, nullptr)) {
    if (!group_) refuse("job object");
    const std::filesystem::path client = own_path();
    const std::filesystem::path helper = client.parent_path() / L"Vandrel Updater.exe";
    std::wstring command = helper_command_line(helper, client.filename().native(), GetCurrentProcessId(), files);
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION started{};
    if (!CreateProcessW(helper.c_str(), command.data(), nullptr, nullptr, FALSE, CREATE_SUSPENDED | CREATE_NO_WINDOW,
                        nullptr, client.parent_path().c_str(), &startup, &started)) {
        refuse("start");
    }
    const Handle process(started.hProcess);
    const Handle thread(started.hThread);
    // Suspended until it belongs to the group: its copy must not be started before.
    if (!AssignProcessToJobObject(group_.get(), process.get())) {
        TerminateProcess(process.get(), 1);
        refuse("group");
    }
    ResumeThread(thread.get());
}

bool HelperRun::is_running() const {
    JOBOBJECT_BASIC_ACCOUNTING_INFORMATION count{};
    if (!QueryInformationJobObject(group_.get(), JobObjectBasicAccountingInformation, &count, sizeof count, nullptr)) {
        return true;
    }
    return count.ActiveProcesses != 0;
}

}  // namespace sample_client
