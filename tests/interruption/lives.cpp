#include "tests/interruption/lives.h"

#include <cstdio>

#include "tests/interruption/texts.h"

namespace interruption {
namespace {

using End = winsim::RunResult::End;

std::string broken_manners_of(const winsim::RunResult& run, const char* which) {
    const std::string who = which;
    if (run.end == End::forbidden_call) return who + " made a forbidden call: " + run.reason;
    if (run.end == End::escaped) return who + " let an exception escape: " + run.reason;
    if (run.leaked_handles != 0) return who + " left handles open";
    if (run.leaked_blocks != 0) return who + " left blocks allocated";
    if (run.kept_mutexes != 0) return who + " ended without releasing its lock";
    return {};
}

std::string shown(const support::Status& status) {
    return status.state + " '" + status.detail + "'";
}

std::string ended_badly(const Visit& visit, const Ending& ending) {
    if (ending.last().end == End::exited && ending.last().exit_code == 0) return {};
    const bool spoke = visit.machine.has_status();
    return "stuck: " + (spoke ? shown(visit.machine.status()) : std::string("no status"));
}

std::string wrong_start(const Visit& visit, const wchar_t* arguments) {
    const auto starts = visit.client_starts();
    if (starts.size() != 1) return "the client was started " + std::to_string(starts.size()) + " times";
    const std::wstring expected = L"\"" + std::wstring(support::kClient) + L"\"" + arguments;
    return starts[0].command_line == expected ? std::string() : "the client was started with other arguments";
}

}  // namespace

std::string broken_manners(const Visit& visit, const Ending& ending) {
    std::string wrong = broken_manners_of(ending.first, "the first instance");
    if (wrong.empty() && ending.copy_ran) wrong = broken_manners_of(ending.copy, "the copy");
    if (wrong.empty() && visit.lock_is_held()) wrong = "the lock is still held";
    return wrong;
}

std::string not_whole(const Visit& visit, const Ending& ending, const Picture& before) {
    std::string wrong = broken_manners(visit, ending);
    if (wrong.empty()) wrong = ended_badly(visit, ending);
    if (!wrong.empty()) return wrong;
    const Picture now = picture_of(visit.machine.world.disk);
    const support::Status status = visit.machine.status();
    if (status.state != "current" || status.progress != 100) return "ended as " + shown(status);
    if (visit.had_record()) {
        if (status.detail != kRestored) return "restored, but said " + shown(status);
        wrong = not_as_before(before, now);
        return wrong.empty() ? wrong_start(visit, L" --vandrel-update-recovered") : wrong;
    }
    const std::uint32_t release = visit.number() == kNextDayVisit ? kNextRelease : kNewRelease;
    wrong = not_updated(before, release, now);
    if (!wrong.empty()) return wrong;
    if (!ending.copy_ran) return status.detail == "Cliente atualizado." ? "" : "current, but said " + shown(status);
    return status.detail == kInstalled ? wrong_start(visit, L"") : "installed, but said " + shown(status);
}

std::string wrong_after_cut(const Snapshot& disk, const Picture& before) {
    winsim::Disk looked_at;
    looked_at.restore(disk);
    if (has_active_record(looked_at)) return {};
    const std::string wrong = neither_old_nor_new(before, kNewRelease, picture_of(looked_at));
    return wrong.empty() ? wrong : "half way without an active record: " + wrong;
}

Snapshot put_back_by_hand(const Snapshot& disk, int number, std::string& wrong) {
    winsim::Disk looked_at;
    looked_at.restore(disk);
    const auto missing = missing_to_start(looked_at);
    if (missing.empty()) return nullptr;
    Visit visit(disk, number);
    winsim::Disk& machine_disk = visit.machine.world.disk;
    const Picture found = picture_of(machine_disk);
    if (machine_disk.exists(support::kHelper) && machine_disk.exists(support::kClient)) {
        const Ending ending = visit.run();
        const bool refused = ending.last().exit_code == 1 && visit.machine.has_status() &&
                             visit.machine.status().detail == "Pasta sem cliente Vandrel completo.";
        wrong = refused ? not_as_before(found, picture_of(machine_disk)) : "started in an incomplete folder";
    }
    for (const std::wstring& path : missing) {
        bool put_back = false;
        for (const std::wstring& candidate : machine_disk.tree(support::kRoot)) {
            const std::wstring name = path.substr(path.rfind(L'\\'));
            if (candidate.find(L"\\backup\\") == std::wstring::npos || !candidate.ends_with(name)) continue;
            machine_disk.put(path, machine_disk.read(candidate), machine_disk.write_time(candidate));
            put_back = true;
        }
        if (!put_back) wrong = "gone without a backup: " + support::narrow(path);
    }
    return machine_disk.snapshot();
}

Ending Judge::run(Visit& visit) const {
    if (!trace) return visit.run();
    visit.machine.world.gate.keep_trace(true);
    const auto print = [&visit](char which) {
        for (const std::string& line : visit.machine.world.gate.trace()) {
            std::printf("visit %d %c %s\n", visit.number(), which, line.c_str());
        }
    };
    visit.before_run = [&](Run which) {
        if (which == Run::copy) print('f');
    };
    const Ending ending = visit.run();
    print(ending.copy_ran ? 'c' : 'f');
    return ending;
}

std::string Judge::judge_next_day(const Snapshot& disk) {
    Visit visit(disk, kNextDayVisit);
    const Picture before = picture_of(visit.machine.world.disk);
    const Ending ending = run(visit);
    std::string wrong = not_whole(visit, ending, before);
    if (wrong.empty() && !ending.copy_ran) wrong = "found nothing to do";
    if (wrong.empty()) wrong = unexpected_leftover(visit.machine.world.disk, kNextDayVisit, true);
    return wrong.empty() ? wrong : "a day later: " + wrong;
}

std::string Judge::judge_visit(const Snapshot& disk, int number) {
    Visit visit(disk, number);
    const Ending ending = run(visit);
    std::string wrong = not_whole(visit, ending, before_);
    if (wrong.empty()) wrong = unexpected_leftover(visit.machine.world.disk, number, false);
    if (!wrong.empty()) return "visit " + std::to_string(number) + ": " + wrong;
    const bool restored = visit.had_record();
    if (restored && number == kOrdinaryVisit) return "visit 4: still an active record";
    return verdict(visit.machine.world.disk.snapshot(), restored ? kOrdinaryVisit : kNextDayVisit);
}

Judge::Known Judge::judge(const Snapshot& disk, int number) {
    Known known;
    const Snapshot put_back = put_back_by_hand(disk, number, known.verdict);
    known.refused = put_back != nullptr;
    if (!known.verdict.empty()) return known;
    const Snapshot& start = put_back ? put_back : disk;
    known.verdict = number == kNextDayVisit ? judge_next_day(start) : judge_visit(start, number);
    return known;
}

std::string Judge::verdict(const Snapshot& disk, int number) {
    const std::uint64_t hash = winsim::Disk::hash(*disk);
    auto& known = known_.at(static_cast<std::size_t>(number));
    {
        const std::lock_guard lock(mutex_);
        const auto found = known.find(hash);
        if (found != known.end()) return found->second.verdict;
    }
    Known judged = judge(disk, number);
    const std::lock_guard lock(mutex_);
    return known.emplace(hash, std::move(judged)).first->second.verdict;
}

std::string Judge::heals(const Snapshot& disk) const {
    Snapshot now = disk;
    for (int number = kThirdVisit; number <= kOrdinaryVisit; ++number) {
        std::string wrong;
        const Snapshot put_back = put_back_by_hand(now, number, wrong);
        Visit visit(put_back ? put_back : now, number);
        const Ending ending = run(visit);
        wrong += broken_manners(visit, ending) + ended_badly(visit, ending);
        if (!wrong.empty()) return wrong;
        if (!visit.had_record()) return not_updated(before_, kNewRelease, picture_of(visit.machine.world.disk), true);
        now = visit.machine.world.disk.snapshot();
    }
    return "an active record stays";
}

std::uint64_t Judge::distinct() const {
    const std::lock_guard lock(mutex_);
    std::uint64_t count = 0;
    for (const auto& visits : known_) count += visits.size();
    return count;
}

std::uint64_t Judge::refused() const {
    const std::lock_guard lock(mutex_);
    std::uint64_t count = 0;
    for (const auto& visits : known_) {
        for (const auto& [hash, known] : visits) count += known.refused ? 1 : 0;
    }
    return count;
}

}  // namespace interruption
