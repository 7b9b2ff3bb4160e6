#include "tests/interruption/neighbours.h"

#include <windows.h>

#include <cstdio>
#include <stdexcept>

#include "tests/interruption/faults.h"
#include "winsim/explore/faults.h"
#include "winsim/script.h"

namespace interruption {
namespace {

using winsim::explore::Interference;
using winsim::explore::RecordedCall;

constexpr const char* kEdited = "edited by somebody else";

// "edited,data/big.dat": what is done, and to what.
struct Action {
    explicit Action(const std::string& text) : what(text.substr(0, text.find(','))) {
        if (what.size() < text.size()) object = text.substr(what.size() + 1);
    }
    bool is_of_file() const {
        return !object.empty() && what != "reader" && what != "scanner" && what != "off-record" && what != "half";
    }
    bool holds_files() const { return what == "reader" || what == "scanner" || what == "off-record"; }

    std::string what;
    std::string object;
};

// The file's target as the helper writes it: with the release's own separators.
std::wstring subject_of(const std::string& managed) {
    return std::wstring(support::kRoot) + L"\\" + support::wide(managed);
}

// Where the file stands in the story's transaction: in "files" or "backup".
std::wstring in_store(const HelperRun& run, const wchar_t* tree, const std::string& managed) {
    const std::wstring store = std::wstring(support::kRoot) + L"\\.vandrel-updater\\";
    const std::wstring job = run.had_record() ? job_of(0) : job_of(run.number());
    return store + job + L"\\" + tree + target_of(managed).substr(std::wstring(support::kRoot).size());
}

bool change(HelperRun& run, const Action& action) {
    winsim::Disk& disk = run.machine.world.disk;
    const std::wstring path = target_of(action.object);
    if (action.what == "flipped") return winsim::flip_bit(disk, path);
    if (action.what == "staged-flipped") return winsim::flip_bit(disk, in_store(run, L"files", action.object));
    if (action.what == "backup-flipped") return winsim::flip_bit(disk, in_store(run, L"backup", action.object));
    const bool was_there = disk.exists(path);
    if (action.what == "read-only" && was_there) disk.set_attributes(path, FILE_ATTRIBUTE_READONLY);
    if (action.what == "deleted" || action.what == "folder" || action.what == "junction") disk.erase(path);
    if (action.what == "edited") disk.put(path, kEdited);
    if (action.what == "folder") disk.make_folder(path);
    if (action.what == "junction") disk.make_junction(path, L"C:\\Other");
    return was_there || (action.what != "read-only" && action.what != "deleted");
}

void scan(support::Machine& machine, const Action& action) {
    unsigned share = 0;
    unsigned ms = 0;
    unsigned only = 0;
    if (std::sscanf(action.object.c_str(), "%u,%u,%u", &share, &ms, &only) != 3) throw std::invalid_argument("scanner");
    const bool spares_record = action.what == "off-record" && (share & FILE_SHARE_DELETE) != 0;
    winsim::scan_new_names(machine.world, share, ms, [=, &machine, seen = 0U](std::wstring_view path) mutable {
        return !(spares_record && path == machine.active_record()) && (++seen == only || only == 0);
    });
}

// The reactions of the client that come after its own "apply", which they take back.
void answer_otherwise(support::Machine& machine, const Action& action) {
    machine.on_state("update_available", [&machine, action] {
        const std::string whole = machine.world.disk.read(machine.command_path());
        machine.forget_command();
        if (action.what == "gone") machine.end_client();
        if (action.what != "half") return;
        machine.write_command(whole.substr(0, std::stoul(action.object)));
        machine.world.clock.after(300, [&machine, whole] { machine.write_command(whole); });
    });
}

// The copy's calls of an undisturbed run that tell what it knows of a file, by their numbers.
struct Looks {
    Looks(const std::string& story, const std::string& managed) {
        for (const RecordedCall& call : recording_of(story).calls) {
            if (call.process != 'c') continue;
            if (call.name == "MoveFileExW" && call.subject.ends_with(L"\\active.transaction")) published = call.number;
            if (call.subject != subject_of(managed)) continue;
            if (call.name == "CreateFileW" && change == 0) before_change.push_back(call.number);
            if (call.name == "CreateFileW") last = call.number;
            const bool changes =
                call.name == "ReplaceFileW" || call.name == "MoveFileExW" || call.name == "DeleteFileW";
            if (changes) change = call.number;
        }
    }

    std::vector<std::uint64_t> before_change;
    std::uint64_t published = 0;  // the record
    std::uint64_t change = 0;     // of the file
    std::uint64_t last = 0;       // look at it, of all
};

// Whether somebody's work on a file must outlive the run. It may be overwritten only where the rules accept it: an
// update that has found it there replaces it with the player's consent; and between the last look at a file and its
// change lies a gap.
bool must_survive(const std::string& story, const Interference& done, const Looks& looks) {
    const bool in_copy = done.process == 'c';
    if (in_copy && done.call > looks.change) return true;
    if (story == "restoration") return !in_copy || done.call <= looks.before_change.at(0);
    if (!in_copy) return false;
    const std::size_t count = looks.before_change.size();
    if (count == 0) return done.call > looks.published;  // a new file: its rename never replaces
    return done.call > looks.before_change.at(count - 2) && done.call <= looks.before_change.back();
}

// Whether the file is what a run that has succeeded says of it.
bool is_as_promised(const std::string& story, const winsim::Disk& disk, const std::string& managed) {
    const Files& release = release_files(story == "restoration" ? kOldRelease : kNewRelease);
    const auto promised = release.find(managed);
    const std::wstring path = target_of(managed);
    if (promised == release.end()) return !disk.exists(path);
    return disk.exists(path) && !disk.is_folder(path) && disk.read(path) == promised->second;
}

bool is_lost(const winsim::Disk& disk, const std::wstring& path) {
    return !disk.exists(path) || disk.is_folder(path) || disk.read(path) != kEdited;
}

// What the neighbour itself has changed is left out of the look at the rest.
Picture without(Picture picture, const Action& action) {
    const std::wstring path = action.is_of_file() ? target_of(action.object) : L"";
    if (!path.empty()) std::erase_if(picture, [&](const auto& entry) { return entry.first.starts_with(path); });
    return picture;
}

// The neighbour lets go of what it holds, and what it did is put right by hand: the file is the old one again.
void put_right(HelperRun& run, const Action& action) {
    run.machine.world.clock.advance(120000);
    if (!action.is_of_file()) return;
    winsim::Disk& disk = run.machine.world.disk;
    const std::wstring path = target_of(action.object);
    const std::wstring backup = in_store(run, L"backup", action.object);
    const Files& old_files = release_files(kOldRelease);
    const auto old = old_files.find(action.object);
    if (disk.exists(path) && !disk.is_folder(path)) disk.set_attributes(path, 0);
    const bool helper_gone = action.what == "deleted" && path == support::kHelper;
    if (!has_active_record(disk) && !disk.is_folder(path) && !helper_gone) return;
    disk.erase(path);
    if (old == old_files.end()) return;
    disk.put(path, old->second);
    if (disk.exists(backup)) disk.put(backup, old->second);
}

}  // namespace

bool HelperRun::interfere(const std::string& text) {
    if (expects_exchange()) return UpdateRun::interfere(text);
    const Action action(text);
    if (action.is_of_file()) return change(*this, action);
    if (action.what == "client") {
        machine.world.processes.start(support::kClient);
    } else if (action.what == "reader") {
        winsim::hold_for(machine.world, machine.status_path(), FILE_SHARE_READ | FILE_SHARE_WRITE,
                         std::stoull(action.object));
    } else if (action.what == "scanner" || action.what == "off-record") {
        scan(machine, action);
    } else if (action.what == "half" || action.what == "silent" || action.what == "gone") {
        answer_otherwise(machine, action);
    } else {
        throw std::invalid_argument("no such action: " + text);
    }
    return true;
}

std::vector<winsim::explore::Disturbance> interferences(const std::string& story, std::uint64_t one_in) {
    std::vector<winsim::explore::Disturbance> found;
    const winsim::explore::Recording& recording = recording_of(story);
    std::uint64_t first = 7;
    for (const char* action : {"client", "reader,80", "reader,30000"}) {
        add_interferences(found, recording, action, {one_in, first, L""});
        first += 7;  // each begins elsewhere
    }
    for (const char* what :
         {"edited", "flipped", "deleted", "read-only", "folder", "junction", "staged-flipped", "backup-flipped"}) {
        for (const char* file : {"data/big.dat", "data/added.dat", "Vandrel Updater.exe"}) {
            add_interferences(found, recording, std::string(what) + "," + file, {one_in, first, subject_of(file)});
        }
        first += 7;
    }
    std::vector<std::string> throughout{"silent", "gone"};
    for (const char* scanner :
         {"1,10", "1,200", "1,400", "1,600", "1,60000", "3,10", "3,200", "3,400", "3,600", "3,60000",
          "5,10", "5,200", "5,400", "5,600", "5,60000", "7,10", "7,200", "7,400", "7,600", "7,60000"}) {
        for (int file = 0; file <= 44; ++file) {
            throughout.push_back(std::string("scanner,") + scanner + "," + std::to_string(file));
        }
    }
    for (int bytes = 0; bytes <= 70; ++bytes) throughout.push_back("half," + std::to_string(bytes));
    for (const std::string& action : throughout) found.emplace_back(Interference{action, 'f', 0});
    return found;
}

std::string wrong_beside(Recovery& recovery, const std::string& story, HelperRun& run, const Interference& done,
                         bool came) {
    const Action action(done.action);
    winsim::Disk& disk = run.machine.world.disk;
    std::string wrong = run.wrong_ending();
    if (wrong.empty()) wrong = wrong_report(run, action.holds_files());
    if (wrong.empty()) {
        wrong = oracle().foreign_content(without(recovery.before(), action), recovery.course().release,
                                         without(picture_of(disk), action));
    }
    if (!wrong.empty()) return wrong;
    const bool harmless = !came || action.what == "half" || done.action == "reader,80";
    if (harmless && !run.succeeded()) return "failed though nothing was in its way";
    if (came && action.is_of_file()) {
        const Looks looks(story, action.object);
        const bool lost = action.what == "edited" && is_lost(disk, target_of(action.object));
        if (lost && must_survive(story, done, looks)) return "the neighbour's work is lost";
        const bool in_time = done.process == 'f' || done.call <= looks.last;
        const bool proved = in_time && action.what != "backup-flipped";  // whose proof has a gap of its own
        if (run.succeeded() && proved && !is_as_promised(story, disk, action.object)) return "succeeded in vain";
    }
    if (action.what == "silent" || action.what == "gone") {
        wrong = not_as_before(picture_of(disk_of(story)), picture_of(disk));
        if (run.succeeded() || !wrong.empty()) return "went on without the player's consent: " + wrong;
    }
    put_right(run, action);
    return recovery.unhealed(disk.snapshot());
}

}  // namespace interruption
