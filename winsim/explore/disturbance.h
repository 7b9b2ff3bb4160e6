// What disturbs a run, and its one text form.
#pragma once

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "winsim/gate.h"
#include "winsim/loss.h"

namespace winsim::explore {

// A moment of one call: "f117b" before call 117 of process f, "c12a" after call 12 of process c, "c300i2" inside call
// 300, behind its second step.
struct CrashPoint {
    char process = 'p';  // a lower-case letter that the run gives it
    std::uint64_t call = 0;
    Moment moment = Moment::before;
    std::uint32_t step = 0;  // at Moment::inside only
};

// The power goes, and takes something with it: "c117a-3/5+torn".
struct Cut {
    CrashPoint at;
    Loss loss;
};

// A call fails with an error: "c117=32".
struct FailedCall {
    char process = 'p';
    std::uint64_t call = 0;
    std::uint32_t error = 0;
};

// The program's own memory allocation of that number fails: "c=n1234".
struct FailedAllocation {
    char process = 'p';
    std::uint64_t number = 0;
};

// Another program acts, in words of the scenario (without ":"): before a call, "c117@deleted,data/big.dat", or, with
// call 0, from the beginning of the run on, "@scanner,3,200".
struct Interference {
    std::string action;
    char process = 'p';
    std::uint64_t call = 0;
};

using Disturbance = std::variant<Cut, FailedCall, FailedAllocation, Interference>;

std::string text_of(const CrashPoint& point);
std::string text_of(const Disturbance& disturbance);

// One disturbance for each run of a history, with colons between them: "c117a-3/5+torn:f48b-0/2+kept".
using Schedule = std::vector<Disturbance>;
Schedule parse_schedule(const std::string& text);  // throws std::invalid_argument

}  // namespace winsim::explore
