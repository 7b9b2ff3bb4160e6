// What must be true after a run in which one call, or one allocation, has failed.
#pragma once

#include <string>

#include "tests/interruption/recovery.h"

namespace interruption {

// The exit code of the last process is 0 if and only if the last status says "current"; else it says "error" or
// "cancelled", unless the report of that `may_be_lost`.
std::string wrong_report(const HelperRun& run, bool may_be_lost);

// The run of `story` has met the fault, a FailedCall or a FailedAllocation. It must have ended in order, with the right
// report and the folder old or new; and the recovery must find nothing wrong. A call that
// said "not found" of what stands there is no failure but a lie, which the rules believe: what such a one breaks is
// tolerated in `report`, but nobody else's file may be touched, and the release must come.
std::string wrong_after_fault(Recovery& recovery, const std::string& story, HelperRun& run,
                              const winsim::explore::Disturbance& fault, winsim::explore::Report& report);

}  // namespace interruption
