// The validated command line: the one record that every other file may read.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace vandrel {

struct LaunchOptions {
    // Empty fields, zeros, and `update_url` the endpoint that is built into the program.
    LaunchOptions();
    // Everything but `release` and `file_count`, which start at 0; then makes sure that the status file's folder
    // exists. Throws what ensure_safe_directory throws. The record that a run works with is such a copy.
    LaunchOptions(const LaunchOptions& other);
    LaunchOptions(LaunchOptions&&) = default;
    LaunchOptions& operator=(const LaunchOptions&) = delete;
    LaunchOptions& operator=(LaunchOptions&&) = delete;
    ~LaunchOptions() = default;

    std::wstring arch;               // "64"
    std::wstring job_id;             // 32 hexadecimal digits, lower case
    std::wstring client_executable;  // file name of the client in client_root
    std::wstring status_path;
    std::wstring command_path;  // beside the status file
    std::wstring client_root;   // absolute, normalised
    std::uint32_t client_pid = 0;
    bool relocated = false;  // this instance is the temporary copy
    std::wstring update_url;
    bool client_pid_optional = false;  // nothing sets it
    // Of the run; 0 until known. Only the update run writes them.
    std::uint32_t release = 0;
    std::uint64_t file_count = 0;
};

// What the file name of a client executable ends in: "_x64.exe" for the channel "64", else "_x86.exe".
std::wstring_view executable_suffix(std::wstring_view arch);

// Reads and validates the process's command line: each check in its order, the first that fails throws its Failure
// (the texts stand in launch_options.cpp, beside their checks). Path operations may throw std::filesystem errors.
// Changes nothing on disk.
LaunchOptions parse_launch_options();

// What a status path must look like, by itself: absolute, named "<job>.status.json", in a folder "updater".
bool is_status_path_of_job(const std::wstring& status_path, const std::wstring& job_id);

// Whether the status path stands at <roaming>\BrindlerQ3\<one folder>\updater\<file>. The folder is a name: neither "."
// nor "..".
bool is_in_profile(const std::wstring& status_path, const std::wstring& roaming);

// The user's roaming application data folder; false if the system has none.
bool find_roaming_folder(std::wstring& roaming);

}  // namespace vandrel
