#include "winsim/player/update_run.h"

#include <map>
#include <stdexcept>

namespace player {
namespace {

using End = winsim::RunResult::End;

constexpr std::uint64_t kHour = 3600ULL * 1000 * winsim::kTicksPerMs;
constexpr std::uint64_t kFirstRunTime = kInstallTime + 240 * kHour;

std::string wrong_ending_of(const winsim::RunResult& process, const std::string& who) {
    if (process.end == End::forbidden_call) return who + " made a forbidden call: " + process.reason;
    if (process.end == End::escaped) return who + " let an exception escape: " + process.reason;
    if (process.leaked_handles != 0) return who + " left handles open";
    if (process.leaked_blocks != 0) return who + " left blocks allocated";
    if (process.kept_mutexes != 0) return who + " ended without releasing its lock";
    return {};
}

}  // namespace

std::wstring job_of(int run) {
    constexpr const wchar_t* kDigits = L"0123456789abcdef";
    std::wstring job(32, L'a');
    for (std::size_t i = 0; i < 8; ++i) job[31 - i] = kDigits[(static_cast<unsigned>(run) >> (4 * i)) & 15U];
    return job;
}

void UpdateRun::switch_on(const Snapshot& disk, int number) {
    winsim::World& world = machine_.world;
    number_ = number;
    world.disk.restore(disk);
    had_record_ = world.disk.exists(machine_.active_record());
    const auto hours = static_cast<std::uint64_t>(number >= kNextDayRun ? number + 24 : number);
    world.clock.set_file_time(kFirstRunTime + hours * kHour);
    // No two runs share a process id, as none would on a machine with a day's work behind it.
    for (int i = 0; i < 3 * number; ++i) world.processes.end(world.processes.start(L"C:\\Windows\\explorer.exe"));
    machine_.job = job_of(number);
    machine_.client_answers("apply");
    machine_.start_client();
}

void UpdateRun::run() {
    begin('f');
    processes_.push_back(machine_.run_first());
    const winsim::RunResult& first = processes_.back();
    if (first.end != End::exited || first.exit_code != 0) return;
    if (machine_.world.processes.starts().empty()) return;
    begin('c');
    processes_.push_back(machine_.run_copy());
}

std::wstring UpdateRun::folder_in_use(const std::string& name) const {
    const std::wstring job = std::wstring(kStore) + L"\\" + (had_record() ? job_of(0) : machine_.job);
    const std::wstring profiles = machine_.world.roaming + L"\\BrindlerQ3";
    const std::wstring copies = machine_.world.temporary + L"VandrelUpdater";
    const std::map<std::string, std::wstring> folders{{"store", kStore},
                                                      {"job", job},
                                                      {"files", job + L"\\files"},
                                                      {"files/data", job + L"\\files\\data"},
                                                      {"backup", job + L"\\backup"},
                                                      {"backup/data", job + L"\\backup\\data"},
                                                      {"profiles", profiles},
                                                      {"profile", profiles + L"\\main"},
                                                      {"updater", profiles + L"\\main\\updater"},
                                                      {"copies", copies},
                                                      {"copy", copies + L"\\" + machine_.job},
                                                      {"data", std::wstring(kRoot) + L"\\data"},
                                                      {"modules", std::wstring(kRoot) + L"\\modules"}};
    const auto found = folders.find(name);
    if (found == folders.end()) throw std::invalid_argument("no such folder: " + name);
    return found->second;
}

bool UpdateRun::interfere(const std::string& action) {
    using winsim::explore::Exchange;
    const std::size_t comma = action.find(',');
    const Exchange way = action.substr(0, comma) == "moved" ? Exchange::moved : Exchange::emptied;
    return exchanged_->exchange(folder_in_use(action.substr(comma + 1)), way);
}

std::vector<winsim::Start> UpdateRun::client_starts() const {
    std::vector<winsim::Start> starts = machine_.world.processes.starts();
    std::erase_if(starts, [this](const winsim::Start& start) { return start.application != machine_.client; });
    return starts;
}

std::string UpdateRun::wrong_ending() const {
    std::string wrong = wrong_ending_of(processes_.front(), "the first instance");
    return wrong.empty() && copy_ran() ? wrong_ending_of(processes_.back(), "the copy") : wrong;
}

std::string UpdateRun::last_words() const {
    if (!machine_.has_status()) return "no status";
    const Status status = machine_.status();
    return status.state + " '" + status.detail + "'";
}

}  // namespace player
