// Lives of a folder: what must be true after each visit, and all that may come after a visit that went wrong.
#pragma once

#include <array>
#include <mutex>
#include <string>
#include <unordered_map>

#include "tests/interruption/oracle.h"
#include "tests/interruption/report.h"
#include "tests/interruption/story.h"

namespace interruption {

// What every ended visit must have kept: no forbidden call, nothing that escaped, no handle, no block and no lock left.
std::string broken_manners(const Visit& visit, const Ending& ending);

// What an undisturbed visit must have done, by what it found: with an active record, the folder is back as in `before`,
// the client was started as recovered; without one, it is the visit's release.
std::string not_whole(const Visit& visit, const Ending& ending, const Picture& before);

// The verdict on a disk as some interruption has left it: an undisturbed visit `number` makes the folder whole; if it
// took an install back, an ordinary visit then brings the release; and a visit a day later, with the next release,
// leaves nothing behind but what the rules leave. Each disk is judged once and remembered.
class Judge {
 public:
    explicit Judge(Picture before) : before_(std::move(before)) {}

    // Empty if all is as it must be. Any thread.
    std::string verdict(const Snapshot& disk, int number);
    // Less than the verdict: whatever the folder looks like, undisturbed visits come to an end and bring the release.
    std::string heals(const Snapshot& disk) const;
    std::uint64_t distinct() const;  // disks judged, each visit counted by itself
    std::uint64_t refused() const;   // of them, those that nobody could start from until a file was put back by hand
    const Picture& before() const { return before_; }

    // Replays print the calls of every visit.
    bool trace = false;

 private:
    struct Known {
        std::string verdict;
        bool refused = false;
    };
    Known judge(const Snapshot& disk, int number);
    std::string judge_visit(const Snapshot& disk, int number);
    std::string judge_next_day(const Snapshot& disk);
    Ending run(Visit& visit) const;

    const Picture before_;
    mutable std::mutex mutex_;
    std::array<std::unordered_map<std::uint64_t, Known>, kNextDayVisit + 1> known_;
};

// A power cut inside ReplaceFileW may take away a file without which nobody can start the client or the helper. The
// rules then refuse every start until somebody puts it back: gives the disk with the old files put back from the
// backups, as a player or a support desk would. Null where nothing is missing. `wrong` says if a start in between did
// not refuse, or changed the folder.
Snapshot put_back_by_hand(const Snapshot& disk, int number, std::string& wrong);

// What stood there before the cut must be either release exactly, unless an active record says otherwise.
std::string wrong_after_cut(const Snapshot& disk, const Picture& before);

}  // namespace interruption
