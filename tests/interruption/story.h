// The histories that are explored: a player's folder on its way from one release to the next, one run of the client and
// the helper after another, each on the disk that the one before has left.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/machine.h"
#include "winsim/explore/explore.h"
#include "winsim/player/update_run.h"

namespace interruption {

using support::Files;
using winsim::explore::Snapshot;

// The managed files of the releases. From the old to the new one: files are replaced (by longer, shorter and
// empty ones, one of more than 64 KiB, the helper's own among them), added, added empty, and added in new folders;
// two stay as they are. The next release changes nearly all of them once more.
const Files& release_files(std::uint32_t release);
inline constexpr std::uint32_t kOldRelease = 1;
inline constexpr std::uint32_t kNewRelease = 2;
inline constexpr std::uint32_t kNextRelease = 3;
inline constexpr std::uint32_t kOneFileRelease = 4;  // the old one, but for data/big.dat

// Where a managed file stands in the client's folder.
std::wstring target_of(const std::string& managed);

// A disk with the old release, with files of the player's that no release knows, and with bystanders elsewhere.
Snapshot disk_with_old_release();
// The same, its installation of the new release interrupted before the commit: every file is new, the record stands.
Snapshot disk_with_interrupted_install();

using player::job_of;
using player::kFirstRun;
using player::kNextDayRun;
using player::kOrdinaryRun;
using player::kSecondRun;
using player::kThirdRun;

// One run of such a history. The endpoint has the new release, for the next day's run the next one.
class HelperRun : public player::UpdateRun {
 public:
    // `release` is what the endpoint has; 0: what the run's number says.
    HelperRun(const Snapshot& disk, int number, std::uint32_t release = 0);

    std::uint32_t own_fault(const winsim::Call& call) override;
    bool interfere(const std::string& action) override;  // the actions: see neighbours.h

    support::Machine machine;
    // The replacement of the plan's last file that existed fails before it has begun, so that all is taken back.
    bool fails_last_replacement = false;
};

// The first runs that are disturbed:
//   "update"       an update that would succeed
//   "restoration"  of an interrupted install
//   "one-file"     an update of one file
//   "cancelled"    the player cancels while the third file is on its way
//   "withdrawn"    the player cancels while the client closes
//   "taken-back"   an update whose last replacement fails, so that it is taken back at once
//   "scanned"      an update during which somebody opens the active record as soon as it appears, shares its deletion,
//                  and keeps it open
// Other names: std::invalid_argument.
Snapshot disk_of(const std::string& story);
void arrange(const std::string& story, HelperRun& run);
// The story's undisturbed first run.
const winsim::explore::Recording& recording_of(const std::string& story);

}  // namespace interruption
