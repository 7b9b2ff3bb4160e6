#include "tests/interruption/neighbours.h"

#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <stdexcept>
#include <vector>

#include "tests/interruption/cuts.h"
#include "tests/interruption/neighbour_words.h"

namespace interruption {
namespace {

const std::wstring kElsewhere = L"C:\\Other";

// Where the file stands in the transaction of the story: in "files" or "backup".
std::wstring in_store(const Visit& visit, const wchar_t* tree, const std::string& managed) {
    const std::wstring store = std::wstring(support::kRoot) + L"\\.vandrel-updater\\";
    const std::wstring job = visit.had_record() ? job_of(0) : job_of(visit.number());
    return store + job + L"\\" + tree + target_of(managed).substr(std::wstring(support::kRoot).size());
}

bool flip(winsim::Disk& disk, const std::wstring& path) {
    if (!disk.exists(path) || disk.is_folder(path)) return false;
    std::string content = disk.read(path);
    if (content.empty()) return false;
    content[0] = static_cast<char>(content[0] ^ 1);
    disk.put(path, content);
    return true;
}

// False if there was nothing to do it to.
bool do_deed(Visit& visit, const Deed& deed) {
    winsim::Disk& disk = visit.machine.world.disk;
    const std::wstring path = target_of(deed.file);
    if (deed.what == "client") visit.machine.world.processes.start(support::kClient);
    if (deed.what.starts_with("reader-")) {
        hold_for(visit.machine, visit.machine.status_path(), FILE_SHARE_READ | FILE_SHARE_WRITE,
                 std::stoull(deed.what.substr(7)));
    }
    if (deed.file.empty()) return true;
    if (deed.what == "flipped") return flip(disk, path);
    if (deed.what == "staged-flipped") return flip(disk, in_store(visit, L"files", deed.file));
    if (deed.what == "backup-flipped") return flip(disk, in_store(visit, L"backup", deed.file));
    const bool was_there = disk.exists(path);
    if (deed.what == "read-only" && was_there) disk.set_attributes(path, FILE_ATTRIBUTE_READONLY);
    if (deed.what == "deleted" || deed.what == "folder" || deed.what == "junction") disk.erase(path);
    if (deed.what == "edited") disk.put(path, kEdited);
    if (deed.what == "folder") disk.make_folder(path);
    if (deed.what == "junction") disk.make_junction(path, kElsewhere);
    return was_there || (deed.what != "read-only" && deed.what != "deleted");
}

// "scanner-7-30-0": share, milliseconds, and which file (0: each).
void run_scanner(Visit& visit, const std::string& what) {
    unsigned share = 0;
    unsigned ms = 0;
    unsigned only = 0;
    if (std::sscanf(what.c_str(), "scanner-%u-%u-%u", &share, &ms, &only) != 3) throw std::invalid_argument(what);
    auto seen = std::make_shared<unsigned>(0);
    visit.machine.world.gate.add_watcher(
        [&visit, share, ms, only, seen](const winsim::Call& call, winsim::Moment moment) {
            const bool renamed = call.name == "ReplaceFileW" || call.name == "MoveFileExW" || call.name == "CopyFileW";
            if (!renamed || moment != winsim::Moment::after) return;
            if (++*seen == only || only == 0) hold_for(visit.machine, std::wstring(call.subject), share, ms);
        });
}

// The command comes in two goes, 300 ms apart.
void write_in_two_goes(Visit& visit, std::size_t first) {
    support::Machine& machine = visit.machine;
    machine.on_state("update_available", [&machine, first] {
        machine.say("apply");
        const std::string whole = machine.world.disk.read(machine.command_path());
        machine.write_command(whole.substr(0, first));
        machine.world.clock.after(300, [&machine, whole] { machine.write_command(whole); });
    });
}

// `done` tells, when the visit has run, whether the deed came, and was done to something.
void arrange(Visit& visit, const Deed& deed, bool& done) {
    done = deed.call == 0;
    if (deed.what.starts_with("scanner-")) return run_scanner(visit, deed.what);
    if (deed.what.starts_with("half-")) return write_in_two_goes(visit, std::stoul(deed.what.substr(5)));
    visit.machine.world.gate.add_watcher([&visit, &done, deed](const winsim::Call& call, winsim::Moment moment) {
        const bool now = moment == winsim::Moment::before && visit.run_now() == deed.run && call.number == deed.call;
        if (now && !done) done = do_deed(visit, deed);
    });
}

// What the deed itself has changed is left out of the look at the rest.
Picture without(Picture picture, const Deed& deed) {
    const std::wstring path = target_of(deed.file);
    if (!deed.file.empty()) std::erase_if(picture, [&](const auto& entry) { return entry.first.starts_with(path); });
    return picture;
}

// The neighbour has gone, and what it did is put right by hand: the file is the old one again.
void put_right(Visit& visit, const Deed& deed) {
    winsim::Disk& disk = visit.machine.world.disk;
    if (deed.file.empty()) return;
    const std::wstring path = target_of(deed.file);
    const std::wstring backup = in_store(visit, L"backup", deed.file);
    const auto old = release_files(kOldRelease).find(deed.file);
    if (disk.exists(path) && !disk.is_folder(path)) disk.set_attributes(path, 0);
    const bool reinstalled = deed.what == "deleted" && path == support::kHelper;
    if (!has_active_record(disk) && !disk.is_folder(path) && !reinstalled) return;
    disk.erase(path);
    if (old != release_files(kOldRelease).end()) disk.put(path, old->second);
    if (disk.exists(backup) && old != release_files(kOldRelease).end()) disk.put(backup, old->second);
}

// A refused file stays refused: a further visit changes nothing.
std::string wrong_in_second_refusal(const Snapshot& disk, const std::string& words) {
    Visit again(disk, kSecondVisit);
    const Picture before = picture_of(again.machine.world.disk);
    again.run();
    const support::Status status = again.machine.status();
    if (status.state != "error") return "the second start did not refuse";
    if (status.detail != words) return "the second start refused otherwise: " + status.detail;
    return not_as_before(before, picture_of(again.machine.world.disk));
}

// The walk goes from the last file to the first: those behind the refused one are old again, those before it still new.
std::string wrong_order_of_refusal(const winsim::Disk& disk, const Deed& deed) {
    const Files& old = release_files(kOldRelease);
    for (const auto& [managed, content] : release_files(kNewRelease)) {
        if (managed == deed.file) continue;
        const bool put_back = managed > deed.file;
        const std::wstring path = target_of(managed);
        const bool expected = put_back && !old.contains(managed)
                                  ? !disk.exists(path)
                                  : disk.exists(path) && disk.read(path) == (put_back ? old.at(managed) : content);
        if (!expected) return managed + (put_back ? " has not been put back" : " has been put back too early");
    }
    return {};
}

std::string judge_deed(Judge& judge, const Story& story, const Deed& deed, bool trace) {
    Visit visit(story.disk, kFirstVisit);
    visit.machine.world.gate.keep_trace(trace);
    bool done = false;
    arrange(visit, deed, done);
    const Ending ending = visit.run();
    for (const std::string& line : visit.machine.world.gate.trace()) std::printf("%s\n", line.c_str());
    winsim::Disk& disk = visit.machine.world.disk;
    std::string wrong = broken_manners(visit, ending);
    if (wrong.empty()) {
        wrong = foreign_content(without(judge.before(), deed), kNewRelease, without(picture_of(disk), deed));
    }
    if (wrong.empty()) wrong = wrong_words_beside(visit, story, deed, done, ending.last().exit_code == 0);
    if (!wrong.empty()) return wrong;
    const std::string words = visit.machine.has_status() ? visit.machine.status().detail : "";
    if (words.ends_with("recuperacao interrompida.") && deed.what != "deleted" && story.name == "restoration") {
        wrong = wrong_order_of_refusal(disk, deed);
    }
    // The neighbour lets go of what it holds.
    visit.machine.world.clock.advance(120000);
    const bool stays_refused = deed.what == "edited" || deed.what.ends_with("flipped");
    if (wrong.empty() && stays_refused && has_active_record(disk)) {
        wrong = wrong_in_second_refusal(disk.snapshot(), words);
    }
    put_right(visit, deed);
    judge.trace = trace;
    return wrong.empty() ? judge.heals(disk.snapshot()) : wrong;
}

std::string text_of(const Story& story, const Deed& deed) {
    std::string text = "neighbour:" + story.name + ":" + deed.what;
    if (!deed.file.empty()) text += ":" + deed.file;
    if (deed.call != 0) text += std::string(":") + static_cast<char>(deed.run) + std::to_string(deed.call);
    return text;
}

void add_deeds(const Story& story, const NeighbourDepth& depth, std::vector<Deed>& deeds) {
    std::uint64_t kind = 0;
    for (const char* what : {"client", "reader-80", "reader-30000", "edited", "flipped", "deleted", "read-only",
                             "folder", "junction", "staged-flipped", "backup-flipped"}) {
        const bool of_a_file = std::string_view(what) != "client" && !std::string_view(what).starts_with("reader");
        for (const char* file : {"data/big.dat", "data/added.dat", "Vandrel Updater.exe"}) {
            std::uint64_t turn = 7 * ++kind;  // each deed begins elsewhere
            for (const BaseCall& call : story.base.calls) {
                // In front of each look at the file, the deed is never left out.
                const bool close = of_a_file && touches_target(call, file);
                if (turn++ % depth.one_in != 0 && !close) continue;
                deeds.push_back({what, of_a_file ? file : "", call.run, call.number});
            }
            if (!of_a_file) break;
        }
    }
    for (unsigned share = 1; share <= 7; share += 2) {  // always reading
        for (const unsigned ms : {10U, 200U, 400U, 600U, 60000U}) {
            for (unsigned file = 0; file <= 24; ++file) {
                deeds.push_back(
                    {"scanner-" + std::to_string(share) + "-" + std::to_string(ms) + "-" + std::to_string(file), "",
                     Run::first, 0});
            }
        }
    }
    for (unsigned bytes = 0; bytes <= 70; ++bytes)
        deeds.push_back({"half-" + std::to_string(bytes), "", Run::first, 0});
}

}  // namespace

void hold_for(support::Machine& machine, const std::wstring& path, std::uint32_t share, std::uint64_t ms) {
    try {
        const int hold = machine.world.disk.hold(path, GENERIC_READ, share);
        machine.world.clock.after(ms, [&machine, hold] { machine.world.disk.release(hold); });
    } catch (const std::exception&) {  // nothing there, or not to be had: the neighbour leaves it
    }
}

void explore_neighbours(Judge& judge, const NeighbourDepth& depth, Report& report) {
    for (const char* name : {"update", "restoration"}) {
        const Story story(name);
        std::vector<Deed> deeds;
        add_deeds(story, depth, deeds);
        in_parallel(deeds.size(), [&](std::size_t i) {
            if (report.enough()) return;
            const std::string wrong = judge_deed(judge, story, deeds[i], false);
            if (!wrong.empty()) report.violated(text_of(story, deeds[i]), wrong);
        });
        report.count("neighbours: deeds", deeds.size());
        report.count("lives", deeds.size());
    }
}

std::string replay_neighbour(Judge& judge, const std::string& text) {
    const std::vector<std::string> parts = split_at_colons(text);
    if (parts.size() < 2) throw std::invalid_argument("no deed: " + text);
    Deed deed{parts[1], parts.size() > 3 ? parts[2] : "", Run::first, 0};
    if (parts.size() > 2) {
        const auto point = parse_point(parts.back() + "b");
        if (!point) throw std::invalid_argument("no deed: " + text);
        deed.run = point->run;
        deed.call = point->call;
    }
    return judge_deed(judge, Story(parts[0]), deed, true);
}

}  // namespace interruption
