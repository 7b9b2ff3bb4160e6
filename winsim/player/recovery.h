// What must be true of all that comes after a run, however that ended.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "winsim/explore/verdicts.h"
#include "winsim/player/oracle.h"
#include "winsim/player/update_run.h"

namespace player {

// How a history goes on, and by what it is judged.
struct Course {
    // Run `number`, on a machine that has just been switched on with `disk` in it.
    std::function<std::unique_ptr<UpdateRun>(const Snapshot& disk, int number)> start;
    std::wstring client;  // the executable of the player's client
    Oracle oracle;
    Layout release;              // what all runs bring but that of the next day
    std::optional<Layout> next;  // what that brings; nothing: there is none
};

// A power cut inside ReplaceFileW may take away a file without which nobody can start the client or the helper. The
// rules then refuse every start until somebody puts it back: gives the disk with the old files put back from the
// backups, as a player or a support desk would. Null where nothing is missing. `wrong` says if a start in between did
// not refuse, or changed the folder.
Snapshot put_back_by_hand(const Course& course, const Snapshot& disk, int number, std::string& wrong);

// The recovery from whatever has happened to the folder of `before`.
class Recovery {
 public:
    Recovery(Picture before, Course course) : before_(std::move(before)), course_(std::move(course)) {}

    // Run `number` on a disk on which what nobody could start from has been put back by hand.
    std::unique_ptr<UpdateRun> start(const Snapshot& disk, int number) const;

    // What is wrong with a disk as a cut has left it: what stood there before must be either release exactly, unless an
    // active record says otherwise; and what `wrong_from` says of run `next`.
    std::string wrong_after_cut(const Snapshot& disk, int next);
    // An undisturbed run `number` makes the folder whole; if it took an install back, an ordinary run then brings the
    // release; and a run a day later, with the next release, leaves nothing behind but what the rules leave. Each disk
    // is judged once and remembered. Any thread.
    std::string wrong_from(const Snapshot& disk, int number);
    // What is wrong with an undisturbed run that has ended, and that found `before`.
    std::string wrong_with(const UpdateRun& run, const Picture& before) const;
    // Less than that: whatever the folder looks like, undisturbed runs come to an end and bring the release.
    std::string unhealed(const Snapshot& disk) const;

    std::uint64_t distinct() const { return verdicts_.distinct(); }  // disks judged, each run counted by itself
    // Of them, those that nobody could start from until a file was put back by hand.
    std::uint64_t refused() const { return put_back_.distinct(); }
    const Picture& before() const { return before_; }
    const Course& course() const { return course_; }

    bool trace = false;  // replays print the calls of every run

 private:
    std::string judge(const Snapshot& disk, int number);
    std::string judge_run(const Snapshot& disk, int number);
    std::string judge_next_day(const Snapshot& disk) const;
    void go(UpdateRun& run) const;

    const Picture before_;
    const Course course_;
    winsim::explore::Verdicts verdicts_;
    winsim::explore::Verdicts put_back_;
};

}  // namespace player
