// Faults: every platform call of a visit fails once, with every error that matters for its kind; and every allocation.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/interruption/lives.h"

namespace interruption {

// The visits whose calls fail:
//   "update"      an update that would succeed
//   "cancelled"   the player cancels while the third file is on its way
//   "withdrawn"   the player cancels while the client closes
//   "taken-back"  an update whose last replacement fails, so that it is taken back at once
//   "restoration" of an interrupted install
const std::vector<std::string>& fault_stories();

// How many of the cases run: of the calls one in so many, with one error each, the errors taking turns; with 1 every
// call with every error of its kind. 0: none.
struct FaultDepth {
    std::uint64_t one_in_looks = 1;   // calls that change nothing, and make up most of a visit
    std::uint64_t one_in_others = 1;  // all others
    std::uint64_t one_in_allocations = 1;
};

void explore_faults(Judge& judge, const FaultDepth& depth, Report& report);

// "update:c117=32": call 117 of the copy fails with error 32; "update:c=n1234": allocation 1234 of the copy fails.
std::string replay_fault(Judge& judge, const std::string& fault);

}  // namespace interruption
