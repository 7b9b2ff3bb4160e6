// A random walk: a folder's life over several releases, with cuts, faults and neighbours in one life.
#pragma once

#include <cstdint>
#include <string>

#include "tests/interruption/report.h"

namespace interruption {

// The life number `life` of the walk `seed`: the same each time. Empty if the folder was whole whenever it had to be.
std::string walk_one_life(std::uint64_t seed, std::uint64_t life, bool trace);

// Lives 0, 1, 2 ... until `lives` are done or `seconds` have gone by; 0: no such limit (not both).
void walk(std::uint64_t seed, std::uint64_t lives, std::uint64_t seconds, Report& report);

}  // namespace interruption
