#pragma once

#include <windows.h>

#include <memory>
#include <string>

#include "job_files.h"

namespace vandrel_client {

struct HandleCloser {
    void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using Handle = std::unique_ptr<void, HandleCloser>;

// The processes of one job: the one that this client starts, and the temporary copy that takes the job over from it.
// Both lie in one job object of the system, so that the client can tell "still working" from "died without a word".
class HelperRun {
 public:
    HelperRun() = default;

    // Starts "Vandrel Updater.exe" of this executable's folder for the job, hidden, with this process as its client.
    // A system that gives no job object, or doesn't let the helper into it, costs the grouping and nothing else.
    // Throws ClientError: VANDREL_WRONG_CLIENT_NAME, VANDREL_NO_HELPER.
    HelperRun(const JobFiles& files, bool without_group);

    // 1 as long as a process of the helper (or one started by it) lives, 0 when none does, -1 without a group.
    int is_running() const;

 private:
    Handle group_;
};

// One argument in quotes, so that the C runtime and CommandLineToArgvW give back `text` unchanged.
std::wstring quote_argument(const std::wstring& text);

// The helper's command line, its own quoted path first.
std::wstring helper_command_line(const std::filesystem::path& helper, const std::wstring& client_name,
                                 unsigned long client_pid, const JobFiles& files);

}  // namespace vandrel_client
