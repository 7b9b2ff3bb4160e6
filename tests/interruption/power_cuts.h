// Power cuts: everywhere in a visit, with every loss, and again in the recovery from that.
#pragma once

#include <cstdint>
#include <string>

#include "tests/interruption/cuts.h"
#include "tests/interruption/lives.h"

namespace interruption {

// The lives that begin alike: an update of the old release, or the restoration of an interrupted install.
struct BaseLife {
    std::string name;
    Snapshot disk;
};
// "update", "restoration", "scanned"; else std::invalid_argument.
BaseLife base_life(const std::string& name);

// How much of the second cuts is explored: of the disks that they leave, one in so many, in the order in
// which they come. 0: none.
struct Depth {
    std::uint64_t one_in_after_install = 1;  // the first cut left an active record: the second visit takes it back
    std::uint64_t one_in_after_staging = 1;  // it left none: the second visit is a whole update
};

// Explores both base lives and counts "cuts", "losses", "second cuts" and "lives" (cases of both levels whose end was
// judged) in `report`. `before`: the folder with the old release.
void explore_power_cuts(Judge& judge, const Depth& depth, Report& report);

// A third base life, for what no file system does that removes a name at once: "scanned" is an update during which
// somebody opens the active record as soon as it appears, shares its deletion, and keeps it open. Puts that somebody
// into the visit; nothing for the other two.
void bring_scanner(const std::string& base, Visit& visit);

// The harsher model: pending changes of names that may be lost independently of each other. First cuts of both base
// lives only; what breaks is counted by the loss that breaks it, and no violation as long as that loss is a known one
// (docs/how-it-is-tested.md). And the life "scanned", in the usual model.
void explore_harsher_losses(Judge& judge, Report& report);

// Runs "update:c117a:3/5+torn:f48b:0/2+kept" once more and prints each visit's calls. The verdict, empty if all is
// well.
std::string replay_power_cuts(Judge& judge, const std::string& life);

}  // namespace interruption
