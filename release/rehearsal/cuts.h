// Power cuts in the middle of a rehearsed update: the restoration and the updates behind each included.
#pragma once

#include <string>

#include "release/rehearsal/report.h"
#include "release/rehearsal/stage.h"
#include "winsim/player/recovery.h"

namespace vandrel_release {

inline constexpr std::uint64_t kDefaultLives = 200;

// Cuts at every moment with every loss where the update is small, or else `lives` cuts by chance, the same each time;
// `lives` 0: kDefaultLives of them. What must hold is the recovery's: the folder is the old or the new release, or an
// active record says otherwise; the next start makes it whole; the one after that brings the release; and a day later
// one brings the old release once more and leaves nothing behind but what the rules leave.
// Small: the calls of the update, times the bytes of the release, are at most 16 GiB. A number of `lives` always
// samples.
Cuts cut_power(const Stage& stage, player::Recovery& recovery, std::uint64_t lives);

// What a stage's cases are called in a line that replays one: "41/brindler_dx_x64.exe".
std::string name_of(const Stage& stage);

// Runs one history again, "c117a-3/5+torn", and prints its calls to stdout: what is wrong in the end.
// Throws std::invalid_argument if it is no schedule, or never comes to it.
std::string replay_cut(const Stage& stage, player::Recovery& recovery, const std::string& schedule);

}  // namespace vandrel_release
