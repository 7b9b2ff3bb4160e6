// What one run knows: the validated command line, and what the run has found out since. The one record that every other
// file may read.
#pragma once

#include <cstdint>
#include <string>

namespace vandrel {

struct LaunchOptions {
    LaunchOptions();  // empty texts, zeros, and `update_url` the endpoint that is built into the program

    std::wstring arch;               // "64"
    std::wstring job_id;             // 32 hexadecimal digits, lower case
    std::wstring client_executable;  // file name of the client in client_root
    std::wstring status_path;
    std::wstring command_path;  // beside the status file
    std::wstring client_root;   // absolute, normalised
    std::uint32_t client_pid = 0;
    bool relocated = false;  // this instance is the temporary copy
    std::wstring update_url;
    bool client_pid_optional = false;  // admits pid 0, a run without a client to watch; no switch sets it
    // Of the run; 0 until known. Only the update run writes them.
    std::uint32_t release = 0;
    std::uint64_t file_count = 0;
};

}  // namespace vandrel
