// Bad neighbours: other programs on the player's machine that act between any two calls of a run, or all through it;
// and the player who says nothing.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/interruption/recovery.h"

namespace interruption {

// The actions of HelperRun::interfere. Now:
//   "client"                a second client of the folder starts
//   "reader,MS"             somebody has the status file open for so many milliseconds, and doesn't share its deletion
//   "edited,FILE", "flipped,FILE", "deleted,FILE", "read-only,FILE", "folder,FILE", "junction,FILE"
//                           the file of the release is changed so (flipped: by one bit)
//   "staged-flipped,FILE", "backup-flipped,FILE"   one bit of a staged file or of a backup turns over
// From now on:
//   "scanner,SHARE,MS,K"    somebody opens each file that gets a new name, or only the K-th one (K not 0), for so long
//   "off-record,SHARE,MS,K" the same, but never the active record if that shares its deletion
//   "half,K"                the client writes its command in two goes, the first of K bytes
//   "silent"                the client answers nothing
//   "gone"                  the client ends when it should answer
// Those that a sweep tries on a story: of the places between two calls one in so many, and those in front of each look
// at the file.
std::vector<winsim::explore::Disturbance> interferences(const std::string& story, std::uint64_t one_in);

// A run beside a neighbour must leave what it can't account for as it is, and end in order with the right report; when
// the neighbour has gone and what it did is put right by hand, the folder must be healed.
std::string wrong_beside(Recovery& recovery, const std::string& story, HelperRun& run,
                         const winsim::explore::Interference& interference, bool came);

}  // namespace interruption
