#include "tests/interruption/recovery.h"

namespace interruption {
namespace {

using End = winsim::RunResult::End;

std::string wrong_ending_of(const winsim::RunResult& process, const std::string& who) {
    if (process.end == End::forbidden_call) return who + " made a forbidden call: " + process.reason;
    if (process.end == End::escaped) return who + " let an exception escape: " + process.reason;
    if (process.leaked_handles != 0) return who + " left handles open";
    if (process.leaked_blocks != 0) return who + " left blocks allocated";
    if (process.kept_mutexes != 0) return who + " ended without releasing its lock";
    return {};
}

std::string last_words(const HelperRun& run) {
    if (!run.machine.has_status()) return "no status";
    const support::Status status = run.machine.status();
    return status.state + " '" + status.detail + "'";
}

std::string stuck(const HelperRun& run) {
    return run.succeeded() ? std::string() : "stuck: " + last_words(run);
}

std::string wrong_client_start(const HelperRun& run, const wchar_t* arguments) {
    const auto starts = run.client_starts();
    if (starts.size() != 1) return "the client was started " + std::to_string(starts.size()) + " times";
    const std::wstring expected = L"\"" + std::wstring(support::kClient) + L"\"" + arguments;
    return starts[0].command_line == expected ? std::string() : "the client was started with other arguments";
}

// What an undisturbed run must have done, by what it found: with an active record, the folder is back as in `before`,
// and the client was started as recovered; without one, it is the run's release.
std::string not_whole(const HelperRun& run, const Picture& before) {
    std::string wrong = wrong_ending(run);
    if (wrong.empty()) wrong = stuck(run);
    if (!wrong.empty()) return wrong;
    const Picture now = picture_of(run.machine.world.disk);
    const support::Status status = run.machine.status();
    if (status.state != "current" || status.progress != 100) return "ended as " + last_words(run);
    if (run.had_record()) {
        wrong = not_as_before(before, now);
        return wrong.empty() ? wrong_client_start(run, L" --vandrel-update-recovered") : wrong;
    }
    wrong = not_updated(before, run.number() == kNextDayRun ? kNextRelease : kNewRelease, now);
    return wrong.empty() && run.copy_ran() ? wrong_client_start(run, L"") : wrong;
}

}  // namespace

std::string wrong_ending(const HelperRun& run) {
    std::string wrong = wrong_ending_of(run.processes().front(), "the first instance");
    return wrong.empty() && run.copy_ran() ? wrong_ending_of(run.processes().back(), "the copy") : wrong;
}

Snapshot put_back_by_hand(const Snapshot& disk, int number, std::string& wrong) {
    winsim::Disk looked_at;
    looked_at.restore(disk);
    const auto missing = missing_to_start(looked_at);
    if (missing.empty()) return nullptr;
    HelperRun run(disk, number);
    winsim::Disk& machine_disk = run.machine.world.disk;
    const Picture found = picture_of(machine_disk);
    if (machine_disk.exists(support::kHelper) && machine_disk.exists(support::kClient)) {
        run.run();
        const bool refused = !run.succeeded() && last_words(run) == "error 'Pasta sem cliente Vandrel completo.'";
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

void Recovery::go(HelperRun& run) const {
    if (trace) {
        winsim::explore::run_traced(run, run.number(), [&run] { run.run(); });
    } else {
        run.run();
    }
}

std::string Recovery::judge_next_day(const Snapshot& disk) const {
    HelperRun run(disk, kNextDayRun);
    const Picture before = picture_of(run.machine.world.disk);
    go(run);
    std::string wrong = not_whole(run, before);
    if (wrong.empty() && !run.copy_ran()) wrong = "found nothing to do";
    if (wrong.empty()) wrong = unexpected_leftover(run.machine.world.disk, kNextDayRun, true);
    return wrong.empty() ? wrong : "a day later: " + wrong;
}

std::string Recovery::judge_run(const Snapshot& disk, int number) {
    HelperRun run(disk, number);
    go(run);
    std::string wrong = not_whole(run, before_);
    if (wrong.empty()) wrong = unexpected_leftover(run.machine.world.disk, number, false);
    if (!wrong.empty()) return "run " + std::to_string(number) + ": " + wrong;
    const bool restored = run.had_record();
    if (restored && number == kOrdinaryRun) return "still an active record";
    return wrong_from(run.machine.world.disk.snapshot(), restored ? kOrdinaryRun : kNextDayRun);
}

std::string Recovery::judge(const Snapshot& disk, int number) {
    std::string wrong;
    const Snapshot put_back = put_back_by_hand(disk, number, wrong);
    if (put_back) put_back_.ask(disk, number, [&wrong] { return wrong; });
    if (!wrong.empty()) return wrong;
    const Snapshot& start = put_back ? put_back : disk;
    return number == kNextDayRun ? judge_next_day(start) : judge_run(start, number);
}

std::string Recovery::wrong_after_cut(const Snapshot& disk, int next) {
    winsim::Disk looked_at;
    looked_at.restore(disk);
    if (!has_active_record(looked_at)) {
        const std::string wrong = neither_old_nor_new(before_, kNewRelease, picture_of(looked_at));
        if (!wrong.empty()) return "half way without an active record: " + wrong;
    }
    return wrong_from(disk, next);
}

std::string Recovery::wrong_from(const Snapshot& disk, int number) {
    return verdicts_.ask(disk, number, [&] { return judge(disk, number); });
}

std::string Recovery::unhealed(const Snapshot& disk) const {
    Snapshot now = disk;
    for (int number = kThirdRun; number <= kOrdinaryRun; ++number) {
        std::string wrong;
        const Snapshot put_back = put_back_by_hand(now, number, wrong);
        HelperRun run(put_back ? put_back : now, number);
        go(run);
        wrong += wrong_ending(run) + stuck(run);
        if (!wrong.empty()) return wrong;
        if (!run.had_record()) return not_updated(before_, kNewRelease, picture_of(run.machine.world.disk), true);
        now = run.machine.world.disk.snapshot();
    }
    return "an active record stays";
}

}  // namespace interruption
