// The stories as scenarios of the exploration, and how much of each kind a run of the program takes.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/interruption/recovery.h"

namespace interruption {

// Of the disks behind second cuts one in so many is judged, where the second run is a restoration, and where it is a
// whole update; of the calls that only look, of all others, of the allocations, and of the places between two calls for
// a neighbour, one in so many is tried. 0: none.
struct Depth {
    std::uint64_t second_cuts_of_restorations;
    std::uint64_t second_cuts_of_updates;
    std::uint64_t looks;
    std::uint64_t other_calls;
    std::uint64_t allocations;
    std::uint64_t neighbours;
    std::uint64_t walks;  // how many
    bool all_exchanges;
};

class Exploration {
 public:
    Exploration() : recovery_(picture_of(disk_with_old_release()), course()) {}

    void cuts(const Depth& depth);
    void faults(const Depth& depth);
    void neighbours(const Depth& depth);
    void exchanges(const Depth& depth);
    // No part of any other: cuts on a disk whose changes of names may be lost independently of each other, and in the
    // story "scanned". The rules don't stand there; what breaks is a violation.
    void harsher_cuts();
    // Runs "update:c117a-3/5+torn" once more, and prints it: what is wrong.
    std::string replay(const std::string& schedule);

    winsim::explore::Report report;

 private:
    winsim::explore::Scenario scenario(const std::string& story);

    Recovery recovery_;
    bool exchanges_ = false;  // a replay of one
};

}  // namespace interruption
