#include "winsim/player/recovery.h"

namespace player {
namespace {

std::string stuck(const UpdateRun& run) {
    return run.succeeded() ? std::string() : "stuck: " + run.last_words();
}

std::string wrong_client_start(const UpdateRun& run, const wchar_t* arguments) {
    const auto starts = run.client_starts();
    if (starts.size() != 1) return "the client was started " + std::to_string(starts.size()) + " times";
    const std::wstring expected = L"\"" + run.host().client + L"\"" + arguments;
    return starts[0].command_line == expected ? std::string() : "the client was started with other arguments";
}

// From each backup of that name that there is.
bool put_back(winsim::Disk& disk, const std::wstring& path) {
    const std::wstring backup = L"\\backup" + path.substr(std::wstring_view(kRoot).size());
    bool found = false;
    for (const std::wstring& candidate : disk.tree(kStore)) {
        if (!candidate.ends_with(backup)) continue;
        disk.put(path, *disk.contents(candidate), disk.write_time(candidate));
        found = true;
    }
    return found;
}

}  // namespace

Snapshot put_back_by_hand(const Course& course, const Snapshot& disk, int number, std::string& wrong) {
    winsim::Disk looked_at;
    looked_at.restore(disk);
    const auto missing = missing_to_start(looked_at, course.client);
    if (missing.empty()) return nullptr;
    const std::unique_ptr<UpdateRun> run = course.start(disk, number);
    winsim::Disk& machine_disk = run->world().disk;
    const Picture found = course.oracle.picture_of(machine_disk);
    if (machine_disk.exists(kHelper) && machine_disk.exists(course.client)) {
        run->run();
        const bool refused = !run->succeeded() && run->last_words() == "error 'Pasta sem cliente Vandrel completo.'";
        const Picture now = course.oracle.picture_of(machine_disk);
        wrong = refused ? course.oracle.not_as_before(found, now) : "started in an incomplete folder";
    }
    for (const std::wstring& path : missing) {
        if (!put_back(machine_disk, path)) wrong = "gone without a backup: " + narrow(path);
    }
    return machine_disk.snapshot();
}

// What an undisturbed run must have done, by what it found: with an active record, the folder is back as in `before`,
// and the client was started as recovered; without one, it is the run's release.
std::string Recovery::wrong_with(const UpdateRun& run, const Picture& before) const {
    std::string wrong = run.wrong_ending();
    if (wrong.empty()) wrong = stuck(run);
    if (!wrong.empty()) return wrong;
    const Picture now = course_.oracle.picture_of(run.host().world.disk);
    const Status status = run.host().status();
    if (status.state != "current" || status.progress != 100) return "ended as " + run.last_words();
    if (run.had_record()) {
        wrong = course_.oracle.not_as_before(before, now);
        return wrong.empty() ? wrong_client_start(run, L" --vandrel-update-recovered") : wrong;
    }
    const Layout& release = run.number() == kNextDayRun ? *course_.next : course_.release;
    wrong = course_.oracle.not_updated(before, release, now);
    return wrong.empty() && run.copy_ran() ? wrong_client_start(run, L"") : wrong;
}

std::unique_ptr<UpdateRun> Recovery::start(const Snapshot& disk, int number) const {
    std::string wrong;  // found again by the judgement
    const Snapshot put_back = put_back_by_hand(course_, disk, number, wrong);
    return course_.start(put_back ? put_back : disk, number);
}

void Recovery::go(UpdateRun& run) const {
    if (trace) {
        winsim::explore::run_traced(run, run.number(), [&run] { run.run(); });
    } else {
        run.run();
    }
}

std::string Recovery::judge_next_day(const Snapshot& disk) const {
    if (!course_.next) return {};
    const std::unique_ptr<UpdateRun> run = course_.start(disk, kNextDayRun);
    const Picture before = course_.oracle.picture_of(run->world().disk);
    go(*run);
    std::string wrong = wrong_with(*run, before);
    if (wrong.empty() && !run->copy_ran()) wrong = "found nothing to do";
    if (wrong.empty()) wrong = course_.oracle.unexpected_leftover(run->world().disk, kNextDayRun, true);
    return wrong.empty() ? wrong : "a day later: " + wrong;
}

std::string Recovery::judge_run(const Snapshot& disk, int number) {
    const std::unique_ptr<UpdateRun> run = course_.start(disk, number);
    go(*run);
    std::string wrong = wrong_with(*run, before_);
    if (wrong.empty()) wrong = course_.oracle.unexpected_leftover(run->world().disk, number, false);
    if (!wrong.empty()) return "run " + std::to_string(number) + ": " + wrong;
    const bool restored = run->had_record();
    if (restored && number == kOrdinaryRun) return "still an active record";
    return wrong_from(run->world().disk.snapshot(), restored ? kOrdinaryRun : kNextDayRun);
}

std::string Recovery::judge(const Snapshot& disk, int number) {
    std::string wrong;
    const Snapshot put_back = put_back_by_hand(course_, disk, number, wrong);
    if (put_back) put_back_.ask(disk, number, [&wrong] { return wrong; });
    if (!wrong.empty()) return wrong;
    const Snapshot& start = put_back ? put_back : disk;
    return number == kNextDayRun ? judge_next_day(start) : judge_run(start, number);
}

std::string Recovery::wrong_after_cut(const Snapshot& disk, int next) {
    winsim::Disk looked_at;
    looked_at.restore(disk);
    if (!has_active_record(looked_at)) {
        const Picture now = course_.oracle.picture_of(looked_at);
        const std::string wrong = course_.oracle.neither_old_nor_new(before_, course_.release, now);
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
        const Snapshot put_back = put_back_by_hand(course_, now, number, wrong);
        const std::unique_ptr<UpdateRun> run = course_.start(put_back ? put_back : now, number);
        go(*run);
        wrong += run->wrong_ending() + stuck(*run);
        if (!wrong.empty()) return wrong;
        const winsim::Disk& left = run->world().disk;
        if (!run->had_record()) {
            return course_.oracle.not_updated(before_, course_.release, course_.oracle.picture_of(left), true);
        }
        now = left.snapshot();
    }
    return "an active record stays";
}

}  // namespace player
