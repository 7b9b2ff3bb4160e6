#include "tests/interruption/faults.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <stdexcept>
#include <string_view>

#include "tests/interruption/allocations.h"
#include "tests/interruption/fault_stories.h"
#include "tests/interruption/fault_texts.h"
#include "tests/interruption/places.h"
#include "tests/interruption/texts.h"

namespace interruption {
namespace {

using Errors = std::vector<std::uint32_t>;

constexpr std::uint64_t kLastAllocations = 500;
constexpr std::uint32_t kNoMemoryStatus = 0xC0000017;
constexpr std::uint32_t kUnsuccessfulStatus = 0xC0000001;

// What can go wrong with a call, by its name. Empty: it can't fail.
const Errors& errors_of(std::string_view call) {
    static const Errors files{2, 3, 5, 32, 33, 80, 87, 112, 1117};
    static const Errors transfers{2, 3, 5, 32, 33, 80, 87, 112, 1117, winsim::kShortTransfer};
    static const Errors replacing{2, 3, 5, 32, 33, 80, 87, 112, 1117, 1175, 1176, 1177};
    static const Errors network{12002, 12029, 12030, 12152, 12175};
    static const Errors network_reading{12002, 12029, 12030, 12152, 12175, winsim::kShortTransfer};
    static const Errors statuses{kUnsuccessfulStatus, kNoMemoryStatus};
    static const Errors processes{2, 5, 8, 87, 1455};
    static const Errors none;
    if (call == "ReplaceFileW") return replacing;
    if (call == "ReadFile" || call == "WriteFile") return transfers;
    if (call == "WinHttpReadData") return network_reading;
    if (call.starts_with("WinHttp")) return network;
    if (call.starts_with("BCrypt")) return statuses;
    constexpr std::array<std::string_view, 9> cant_fail{"GetTickCount64",
                                                        "Sleep",
                                                        "GetSystemTimeAsFileTime",
                                                        "GetCurrentProcessId",
                                                        "GetCurrentThreadId",
                                                        "LocalFree",
                                                        "CloseHandle",
                                                        "FindClose",
                                                        "ReleaseMutex"};
    if (std::ranges::find(cant_fail, call) != cant_fail.end()) return none;
    constexpr std::array<std::string_view, 18> of_files{"CreateFileW",
                                                        "FlushFileBuffers",
                                                        "GetFileSizeEx",
                                                        "GetFileAttributesW",
                                                        "GetFileAttributesExW",
                                                        "DeleteFileW",
                                                        "RemoveDirectoryW",
                                                        "CopyFileW",
                                                        "MoveFileExW",
                                                        "CreateDirectoryW",
                                                        "FindFirstFileW",
                                                        "FindNextFileW",
                                                        "GetFullPathNameW",
                                                        "GetTempPathW",
                                                        "GetModuleFileNameW",
                                                        "SHGetFolderPathW",
                                                        "GetFileInformationByHandle",
                                                        "ReplaceFileW"};
    return std::ranges::find(of_files, call) != of_files.end() ? files : processes;
}

// The calls that make up most of a visit, and change nothing.
bool only_looks(std::string_view call) {
    constexpr std::array<std::string_view, 8> looking{"GetFileAttributesW",  "GetFileAttributesExW", "GetFullPathNameW",
                                                      "FindFirstFileW",      "FindNextFileW",        "FormatMessageW",
                                                      "MultiByteToWideChar", "WideCharToMultiByte"};
    return call.starts_with("BCrypt") || std::ranges::find(looking, call) != looking.end();
}

// One fault to put into a story: a call with an error, or an allocation.
struct Fault {
    std::string story;
    Snapshot disk;
    BaseCall call;
    std::uint32_t error = 0;
    std::uint64_t allocation = 0;
};

std::string text_of(const Fault& fault) {
    std::string text = fault.story + ":" + static_cast<char>(fault.call.run);
    if (fault.allocation != 0) return text + "=n" + std::to_string(fault.allocation);
    return text + std::to_string(fault.call.number) + "=" + std::to_string(fault.error);
}

// The client must be running again if it was told to close and has, and must not have been started otherwise.
std::string wrong_client(const FaultStory& story, const BaseCall& failed, bool succeeded) {
    const auto starts = story.visit.client_starts();
    const auto& machine = story.visit.machine;
    const bool handed_off = std::ranges::any_of(machine.history(), [](const auto& s) { return s.state == "handoff"; });
    const bool closed = std::ranges::any_of(machine.world.processes.all(), [&machine](const winsim::Process& process) {
        return process.id == machine.client_pid && !process.running;
    });
    // Where the roll-back itself has failed, its words take the place of the install's, and nobody starts the client.
    const bool other_words = machine.has_status() && machine.status().state == "error" &&
                             !machine.status().detail.empty() &&
                             !machine.status().detail.starts_with("Substituir arquivo com backup (");
    // Only where memory has failed may the words be others though the roll-back came to its end.
    const bool discarded = failed.name.empty() && !machine.world.disk.exists(machine.transaction_folder());
    const bool taken_back =
        !has_active_record(machine.world.disk) && (discarded || !(story.own_fault_came() && other_words));
    const bool due = succeeded || (!story.visit.had_record() && handed_off && closed && taken_back);
    // The start itself, or the question whether the client has gone, may be what has failed.
    const bool may_fail =
        (story.is_cancelled() || story.own_fault_came()) &&
        (failed.name.empty() || failed.name == "CreateProcessW" || failed.name == "WaitForSingleObject");
    if (starts.empty() && may_fail) return {};
    if (starts.size() != (due ? 1U : 0U)) return "the client was started " + std::to_string(starts.size()) + " times";
    return {};
}

std::string wrong_folder(const FaultStory& story, bool succeeded, Phase phase, bool by_memory, const Picture& before) {
    const winsim::Disk& disk = story.visit.machine.world.disk;
    if (has_active_record(disk)) {
        const bool may_stay = story.name() == "taken-back" || story.visit.had_record();
        return may_stay && !succeeded ? "" : "the active record stayed";
    }
    const Picture now = picture_of(disk);
    const bool can_be_new = !story.visit.had_record() && story.name() != "taken-back";
    if (can_be_new && by_memory) return neither_old_nor_new(before, kNewRelease, now);
    const bool updated = can_be_new && (succeeded || phase == Phase::done || phase == Phase::told);
    // A file that couldn't be read in the comparison is brought anew.
    return updated ? not_updated(before, kNewRelease, now, phase == Phase::check) : not_as_before(before, now);
}

// Runs the fault's visit. `ending` and the story tell how it went; the power stays on.
void run_with(FaultStory& story, const Fault& fault, Ending& ending) {
    winsim::Gate& gate = story.visit.machine.world.gate;
    AllocationCount count(gate, fault.allocation);
    story.visit.before_run = [&](Run) { count.end(); };
    gate.set_fault_rule([&](const winsim::Call& call) -> std::uint32_t {
        const bool here =
            fault.allocation == 0 && story.visit.run_now() == fault.call.run && call.number == fault.call.number;
        return here ? fault.error : story.own_fault(call);
    });
    gate.add_watcher([&](const winsim::Call&, winsim::Moment) {
        if (fault.allocation != 0 && story.visit.run_now() == fault.call.run) count.begin();
    });
    ending = story.visit.run();
    count.end();
    story.visit.before_run = nullptr;
    gate.set_fault_rule(nullptr);
}

// What a run that ended by itself must have cleared away, unless it is the clearing away that has failed.
std::string left_in_store(const FaultStory& story, const Fault& fault, bool succeeded) {
    const winsim::Disk& disk = story.visit.machine.world.disk;
    const std::string& call = fault.call.name;
    const bool removal =
        (call == "DeleteFileW" || call == "GetFileAttributesW") && place_of(fault.call.subject) == "part";
    if (fault.allocation != 0 || removal) return {};
    for (const std::wstring& path : disk.tree(L"C:\\")) {
        if (path.find(L".qmpart-") != std::wstring::npos) return "left behind: " + support::narrow(path);
    }
    const bool discards = story.name() == "update" && !succeeded &&
                          (fault.call.phase == Phase::downloading || fault.call.phase == Phase::handoff ||
                           fault.call.phase == Phase::recorded);
    const bool stayed = disk.exists(story.visit.machine.transaction_folder());
    return discards && stayed ? "the transaction's folder stayed" : "";
}

std::string wrong_after_fault(Judge& judge, FaultStory& story, const Fault& fault, const Ending& ending) {
    std::string wrong = broken_manners(story.visit, ending);
    if (!wrong.empty()) return wrong;
    const bool status_destroyed = fault.call.name == "ReplaceFileW" && (fault.error == 1176 || fault.error == 1177);
    if (!story.visit.machine.has_status() && !status_destroyed) return "no status was written";
    const bool succeeded = ending.last().exit_code == 0;
    wrong = wrong_folder(story, succeeded, fault.call.phase, fault.allocation != 0, judge.before());
    if (wrong.empty()) wrong = wrong_client(story, fault.call, succeeded);
    if (wrong.empty()) wrong = left_in_store(story, fault, succeeded);
    if (wrong.empty()) wrong = wrong_words(story, {fault.call, fault.error, fault.allocation != 0}, succeeded);
    if (!wrong.empty()) return wrong;
    // The client clears its job's files away: what they say makes no difference to any later visit.
    story.visit.machine.world.disk.erase(story.visit.machine.status_path());
    story.visit.machine.forget_command();
    const Snapshot left = story.visit.machine.world.disk.snapshot();
    // Files that were brought anew for nothing have another time than the verdict looks for.
    if (succeeded && fault.call.phase == Phase::check) return judge.heals(left);
    return judge.verdict(left, kThirdVisit);
}

// An answer "not found" for what stands there: no failure but a lie of the file system, which the rules believe.
bool is_lie(const Fault& fault) {
    constexpr std::array<std::string_view, 5> believed{"GetFileAttributesW", "GetFileAttributesExW", "FindFirstFileW",
                                                       "DeleteFileW", "RemoveDirectoryW"};
    return (fault.error == 2 || fault.error == 3) && std::ranges::find(believed, fault.call.name) != believed.end();
}

// All that is left to ask for after a lie: nothing of anybody else's is touched, and the next visits bring the release;
// unless it is the active record that was denied, and the backups have gone for it.
std::string wrong_after_lie(Judge& judge, FaultStory& story, const Fault& fault, const Ending& ending) {
    std::string wrong = broken_manners(story.visit, ending);
    const winsim::Disk& disk = story.visit.machine.world.disk;
    if (wrong.empty()) wrong = foreign_content(judge.before(), kNewRelease, picture_of(disk));
    if (!wrong.empty()) return wrong;
    wrong = judge.heals(disk.snapshot());
    const bool denied = has_active_record(disk) && place_of(fault.call.subject) == "active";
    return denied && wrong == std::string("stuck: error '") + kNoBackup + "'" ? "" : wrong;
}

std::string judge_fault(Judge& judge, const Fault& fault, bool trace, Report* report) {
    FaultStory story(fault.story, fault.disk);
    Ending ending;
    story.visit.machine.world.gate.keep_trace(trace);
    run_with(story, fault, ending);
    for (const std::string& line : story.visit.machine.world.gate.trace()) std::printf("%s\n", line.c_str());
    judge.trace = trace;
    const std::string wrong = wrong_after_fault(judge, story, fault, ending);
    if (wrong.empty() || !is_lie(fault)) return wrong;
    if (report != nullptr)
        report->classified("believed: " + fault.call.name + "\n          " + wrong, "fault:" + text_of(fault));
    return wrong_after_lie(judge, story, fault, ending);
}

void add_calls(const std::string& name, const Snapshot& disk, const BaseRun& base, const FaultDepth& depth,
               std::vector<Fault>& faults) {
    std::uint64_t turn = 0;
    for (const BaseCall& call : base.calls) {
        const Errors& errors = errors_of(call.name);
        const std::uint64_t one_in = only_looks(call.name) ? depth.one_in_looks : depth.one_in_others;
        for (std::size_t i = 0; i < errors.size() && one_in != 0; ++i) {
            // Of the calls that are taken, each fails once; the errors take turns.
            if (one_in > 1 && (turn % one_in != 0 || i != turn / one_in % errors.size())) continue;
            faults.push_back({name, disk, call, errors[i], 0});
        }
        ++turn;
    }
}

void add_allocations(const std::string& name, const Snapshot& disk, const BaseRun& base, const FaultDepth& depth,
                     std::vector<Fault>& faults) {
    if (depth.one_in_allocations == 0) return;
    for (const Run run : {Run::first, Run::copy}) {
        const std::uint64_t count = run == Run::first ? base.first_allocations : base.copy_allocations;
        for (std::uint64_t n = 1; n <= count; ++n) {
            // All of the last ones: there the final report is written, behind which nobody catches anything. And all of
            // one short run, from the command line over the lock to the temporary copy.
            const bool last = n + kLastAllocations > count;
            const bool short_run = name == "update" && run == Run::first;
            if (n % depth.one_in_allocations != 0 && !last && !short_run) continue;
            BaseCall call;
            call.run = run;
            faults.push_back({name, disk, call, 0, n});
        }
    }
}

}  // namespace

const std::vector<std::string>& fault_stories() {
    static const std::vector<std::string> names{"update", "cancelled", "withdrawn", "taken-back", "restoration"};
    return names;
}

void explore_faults(Judge& judge, const FaultDepth& depth, Report& report) {
    std::vector<Fault> faults;
    for (const std::string& name : fault_stories()) {
        const Snapshot disk = disk_of_story(name);
        const BaseRun base = base_run(name, disk);
        report.count("faults: calls that can fail", base.calls.size());
        add_calls(name, disk, base, depth, faults);
        add_allocations(name, disk, base, depth, faults);
    }
    in_parallel(faults.size(), [&](std::size_t i) {
        if (report.enough()) return;
        const std::string wrong = judge_fault(judge, faults[i], false, &report);
        if (!wrong.empty()) report.violated("fault:" + text_of(faults[i]), wrong);
    });
    const auto is_allocation = [](const Fault& fault) { return fault.allocation != 0; };
    const auto allocations = static_cast<std::uint64_t>(std::ranges::count_if(faults, is_allocation));
    report.count("faults: failed calls", faults.size() - allocations);
    report.count("faults: failed allocations", allocations);
    report.count("lives", faults.size());
}

std::string replay_fault(Judge& judge, const std::string& text) {
    const std::size_t colon = text.find(':');
    const std::size_t equals = text.find('=');
    if (colon == std::string::npos || equals == std::string::npos) throw std::invalid_argument("no fault: " + text);
    Fault fault;
    fault.story = text.substr(0, colon);
    fault.disk = disk_of_story(fault.story);
    const BaseRun base = base_run(fault.story, fault.disk);
    fault.call.run = static_cast<Run>(text[colon + 1]);
    const std::string value = text.substr(equals + 1);
    if (value[0] == 'n') {
        fault.allocation = std::stoull(value.substr(1));
        return judge_fault(judge, fault, true, nullptr);
    }
    fault.error = static_cast<std::uint32_t>(std::stoul(value));
    const std::uint64_t number = std::stoull(text.substr(colon + 2, equals));
    for (const BaseCall& call : base.calls) {
        if (call.run == fault.call.run && call.number == number) {
            fault.call = call;
            return judge_fault(judge, fault, true, nullptr);
        }
    }
    throw std::invalid_argument("no such call: " + text);
}

}  // namespace interruption
