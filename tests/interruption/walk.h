// Random walks: one folder over several releases, with cuts, faults and neighbours in one history.
#pragma once

#include <string>

#include "winsim/explore/walks.h"

namespace interruption {

// What is wrong in one history; empty if the folder was whole whenever it had to be. `trace` prints what disturbed each
// run, and what the helper said.
std::string wrong_in_walk(winsim::explore::Dice& dice, bool trace);

}  // namespace interruption
