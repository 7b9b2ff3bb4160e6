#pragma once

#include <windows.h>

#include <memory>
#include <string>

#include "profile.h"

namespace sample_client {

struct HandleCloser {
    void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using Handle = std::unique_ptr<void, HandleCloser>;

// One job of the helper: the process that this client starts, and the temporary copy that takes the job over from it.
// Both lie in one job object of the system, so that the client can tell "still working" from "died without a word".
class HelperRun {
 public:
    // Starts "Vandrel Updater.exe" of this executable's folder for the job, hidden, with this process as its client.
    // Throws std::runtime_error if it can't be started.
    explicit HelperRun(const JobFiles& files);

    // True as long as a process of the helper (or one started by it) lives.
    bool is_running() const;

 private:
    Handle group_;
};

// One argument in quotes, so that the C runtime and CommandLineToArgvW give back `text` unchanged.
std::wstring quote_argument(const std::wstring& text);

// The helper's command line, its own quoted path first.
std::wstring helper_command_line(const std::filesystem::path& helper, const std::wstring& client_name,
                                 unsigned long client_pid, const JobFiles& files);

// Full path of this process's executable.
std::filesystem::path own_path();

}  // namespace sample_client
