// A player's machine: a simulated Windows with a client folder, the client, and the publisher's endpoint.
//
//     Machine machine;
//     machine.install(old_files);
//     machine.publish(2, new_files);
//     machine.client_answers("apply");
//     EXPECT_EQ(machine.update(), 0);
//     EXPECT_EQ(machine.client_files(), new_files);
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "run/launch_options.h"
#include "tests/support/release_builder.h"
#include "winsim/world.h"

namespace support {

inline constexpr const wchar_t* kRoot = L"C:\\Game";
inline constexpr const wchar_t* kStore = L"C:\\Game\\.vandrel-updater";
inline constexpr const wchar_t* kHelper = L"C:\\Game\\Vandrel Updater.exe";
inline constexpr const wchar_t* kClient = L"C:\\Game\\brindler_dx_x64.exe";
inline constexpr const wchar_t* kJob = L"0123456789abcdef0123456789abcdef";

// One document of the status file.
struct Status {
    std::string job_id;
    std::string state;
    int progress = 0;
    std::string detail;
    std::uint64_t release = 0;
    std::uint64_t pending_files = 0;

    bool operator==(const Status&) const = default;
};

std::wstring wide(const std::string& utf8);
std::string narrow(const std::wstring& text);  // UTF-8

// The smallest folder that counts as a complete client: both executables' names, init.lua, data and modules.
Files minimal_client();

class Machine {
 public:
    Machine();

    winsim::World world;
    std::wstring job = kJob;
    std::uint32_t client_pid = 0;  // the running client's, 0 before start_client

    // The client's folder: exactly these files (what stood there before goes), with the folders data and modules.
    void install(const Files& files);
    // The endpoint serves this release, manifest and files. `body_of` may change a download's answer.
    void publish(std::uint32_t release, const Files& files);
    void serve_manifest(std::string document);                              // any bytes; downloads give 404
    std::function<void(const winsim::Request&, winsim::Response&)> tamper;  // has the last word on every answer

    // The client.
    std::uint32_t start_client(const std::wstring& image = kClient);
    void end_client() { world.processes.end(client_pid); }
    void say(const std::string& command);  // a whole command file of this job
    void write_command(const std::string& raw) { world.disk.put(command_path(), raw); }  // any bytes
    void forget_command() { world.disk.erase(command_path()); }
    // From now on the client reacts to the status file: writes `command` at "update_available", and at "handoff" ends
    // after `closing_ms`.
    void client_answers(const std::string& command, std::uint64_t closing_ms = 500);
    void on_state(const std::string& state, std::function<void()> action);

    // The helper. Each returns how the process ended.
    std::wstring first_command_line() const;  // program name included
    winsim::RunResult run_first() { return run(first_command_line()); }
    winsim::RunResult run(const std::wstring& command_line, const std::wstring& image = kHelper);
    winsim::RunResult run_copy();  // the program start that the first instance made
    // First instance and copy, with a client started if none runs: the exit code of the last process that ran.
    int update();

    // What the client sees.
    std::wstring status_path() const {
        return world.roaming + L"\\BrindlerQ3\\main\\updater\\" + job + L".status.json";
    }
    std::wstring command_path() const {
        return world.roaming + L"\\BrindlerQ3\\main\\updater\\" + job + L".command.json";
    }
    bool has_status() const { return world.disk.exists(status_path()); }
    Status status() const;
    std::string status_text() const { return world.disk.read(status_path()); }
    const std::vector<Status>& history() const { return history_; }  // every document, in order
    std::vector<std::string> states() const;                         // states of the history, repeats folded
    void forget_history() { history_.clear(); }

    // The client's folder.
    Files client_files() const;  // store left out
    bool store_exists() const { return world.disk.exists(kStore); }
    std::vector<std::wstring> store() const;  // everything beneath .vandrel-updater, sorted, relative to it
    std::wstring active_record() const { return std::wstring(kStore) + L"\\active.transaction"; }
    std::wstring transaction_folder() const { return std::wstring(kStore) + L"\\" + job; }

    // Options as a validated command line of this machine gives them; for direct calls into subsystems.
    vandrel::LaunchOptions options() const;

 private:
    void watch(const winsim::Call& call, winsim::Moment moment);
    winsim::Response answer(const winsim::Request& request) const;

    std::uint32_t release_ = 0;
    std::string manifest_;
    Files served_;
    std::vector<Status> history_;
    std::vector<std::pair<std::string, std::function<void()>>> reactions_;
};

// Every client folder's files as kept on the disk beneath `folder`, with "/" separators; `skip` is left out.
Files files_beneath(const winsim::Disk& disk, const std::wstring& folder, const std::wstring& skip = L"");

}  // namespace support
