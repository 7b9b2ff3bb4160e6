// Folders that somebody exchanges for junctions, at every place between two calls.
#pragma once

#include "tests/interruption/story.h"

namespace interruption {

// Holds what that leads to against tables, call by call and in all; not `all`: without the rows marked so.
void hold_exchanges(bool all, winsim::explore::Report& report);

}  // namespace interruption
