// A player's machine: a simulated Windows with a client folder, the helper in it, and a client that follows the status
// file. What the folder holds and what the endpoint answers is for others to say.
//
//     Machine machine;
//     machine.world.disk.put(...); machine.world.network.serve(...);
//     machine.client_answers("apply");
//     machine.update();
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "winsim/world.h"

namespace player {

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

class Machine {
 public:
    Machine();
    Machine(const Machine&) = delete;
    Machine& operator=(const Machine&) = delete;

    winsim::World world;
    std::wstring job = kJob;
    std::wstring client = kClient;
    std::uint32_t client_pid = 0;  // the running client's, 0 before start_client

    // The client.
    std::uint32_t start_client() { return start_client(client); }
    std::uint32_t start_client(const std::wstring& image);
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

    // The store in the client's folder.
    bool store_exists() const { return world.disk.exists(kStore); }
    std::vector<std::wstring> store() const;  // everything beneath .vandrel-updater, sorted, relative to it
    std::wstring active_record() const { return std::wstring(kStore) + L"\\active.transaction"; }
    std::wstring transaction_folder() const { return std::wstring(kStore) + L"\\" + job; }

 private:
    void watch(const winsim::Call& call, winsim::Moment moment);

    std::vector<Status> history_;
    std::vector<std::pair<std::string, std::function<void()>>> reactions_;
};

}  // namespace player
