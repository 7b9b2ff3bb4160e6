// What a run may meet: every call with every error that matters for its kind, every allocation, and somebody's action
// between any two calls.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "winsim/explore/run.h"

namespace winsim::explore {

// What can go wrong with a call, by its name. Empty: it can't fail.
const std::vector<std::uint32_t>& errors_of(std::string_view call);

// The calls that change nothing, and make up most of a run.
bool only_looks(std::string_view call);

// The call says "not found" (2, 3) of what may stand there: no failure to whoever asked, but a lie of the file system.
bool is_denial(std::string_view call, std::uint32_t error);

// Of the recorded calls one in so many (0: none), each kind by its own number; with 1 each call with each of its
// errors, else with one of them, the errors taking turns.
std::vector<Disturbance> failing_calls(const Recording& recording, std::uint64_t one_in_looks,
                                       std::uint64_t one_in_others);

// Of a process's allocations one in so many (0: none), and all of the `last` ones.
std::vector<Disturbance> failing_allocations(const Recording& recording, char process, std::uint64_t one_in,
                                             std::uint64_t last);

// Of the places between two calls one in so many, counted from `first` on; and each place in front of a call on
// `subject`, unless that is empty.
struct Places {
    std::uint64_t one_in;
    std::uint64_t first;
    std::wstring subject;
};
// Adds the action at each of the places.
void add_interferences(std::vector<Disturbance>& all, const Recording& recording, const std::string& action,
                       const Places& places);

}  // namespace winsim::explore
