// Bad neighbours: other programs on the player's machine that act between any two calls of a visit.
#pragma once

#include <cstdint>
#include <string>

#include "tests/interruption/lives.h"

namespace interruption {

// Somebody reads `path`, if it is to be had, and keeps it open for so many milliseconds.
void hold_for(support::Machine& machine, const std::wstring& path, std::uint32_t share, std::uint64_t ms);

// How many of the moments are tried for each deed: one in so many.
struct NeighbourDepth {
    std::uint64_t one_in = 1;
};

// Deeds that fall between two calls, at each of them:
//   "client"                                     a second client of the folder starts
//   "edited", "flipped", "deleted", "read-only", "folder", "junction"   a file of the plan is changed so
//   "staged-flipped", "backup-flipped"           one bit of a staged file or of a backup turns over
//   "reader-80", "reader-30000"                  somebody has the status file open for so many milliseconds, and
//   doesn't
//                                                share its deletion
// and deeds that go on through a whole visit: "scanner-SHARE-MS-K" opens each file that gets a new name (K of them only
// if K isn't 0), "half-K" writes the command file in two goes, the first of K bytes.
// Each visit must leave what it can't account for as it is, say the right words, and be cured once the neighbour has
// gone.
void explore_neighbours(Judge& judge, const NeighbourDepth& depth, Report& report);

// "update:edited:data/big.dat:c117" or "update:scanner-3-30-0".
std::string replay_neighbour(Judge& judge, const std::string& deed);

}  // namespace interruption
