// The story that every explored life tells: a player's folder on its way from one release to the next, one visit of the
// client and the helper after another, each on the disk that the one before has left.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "tests/support/machine.h"
#include "winsim/world.h"

namespace interruption {

using support::Files;
using Snapshot = std::shared_ptr<const winsim::Disk::State>;

// The managed files of the three releases. From the old to the new one: files are replaced (by longer, shorter and
// empty ones, one of more than 64 KiB, the helper's own among them), added, added empty, and added in new folders;
// two stay as they are. The next release changes nearly all of them once more.
const Files& release_files(std::uint32_t release);
inline constexpr std::uint32_t kOldRelease = 1;
inline constexpr std::uint32_t kNewRelease = 2;
inline constexpr std::uint32_t kNextRelease = 3;

// Where a managed file stands in the client's folder.
std::wstring target_of(const std::string& managed);

// A disk with the old release, with files of the player's that no release knows, and with bystanders elsewhere.
Snapshot disk_with_old_release();
// The same, its installation of the new release interrupted before the commit: every file is new, the record stands.
Snapshot disk_with_interrupted_install();

// The visits of a life: each has a job, process ids and a time of its own. The last one comes more than a day later,
// with the next release; all others find the new release.
inline constexpr int kFirstVisit = 1;     // the one that is cut, or meets faults and neighbours
inline constexpr int kSecondVisit = 2;    // the recovery, cut again
inline constexpr int kThirdVisit = 3;     // the recovery from that
inline constexpr int kOrdinaryVisit = 4;  // brings the release where the one before has taken an install back
inline constexpr int kNextDayVisit = 5;

std::wstring job_of(int visit);

enum class Run : char { first = 'f', copy = 'c' };

// How a visit ended. `copy` is only looked at if `copy_ran`.
struct Ending {
    winsim::RunResult first;
    winsim::RunResult copy;
    bool copy_ran = false;

    const winsim::RunResult& last() const { return copy_ran ? copy : first; }
};

// One start of the client and the helper on a machine that has just been switched on, with `disk` in it. The client is
// there, agrees to whatever is offered, and closes when it is told to.
class Visit {
 public:
    Visit(const Snapshot& disk, int number);
    Visit(const Snapshot& disk, int number, std::uint32_t release);

    int number() const { return number_; }
    Run run_now() const { return run_; }  // the process that is under way
    bool had_record() const { return had_record_; }
    bool lock_is_held() const;
    std::vector<winsim::Start> client_starts() const;

    // Runs the first instance, and the temporary copy if it has started one. `between` is called before each of them.
    Ending run();
    std::function<void(Run)> before_run;

    support::Machine machine;

 private:
    int number_;
    Run run_ = Run::first;
    bool had_record_ = false;
};

}  // namespace interruption
