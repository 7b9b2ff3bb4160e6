// Random walks: histories whose runs are disturbed by chance. The same seed gives the same history.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "winsim/explore/disturbance.h"
#include "winsim/explore/report.h"
#include "winsim/explore/run.h"

namespace winsim::explore {

class Dice {
 public:
    explicit Dice(std::uint64_t seed) : state_(seed) {}
    std::uint64_t below(std::uint64_t limit);  // limit: not 0
    template <class Value>
    const Value& one_of(const std::vector<Value>& values) {
        return values.at(below(values.size()));
    }

 private:
    std::uint64_t state_;
};

// What a draw chooses from; nothing of it may be empty.
struct Choice {
    std::vector<RecordedCall> calls;    // on one of them falls what falls on a call
    std::vector<std::uint32_t> errors;  // of a failed call
    std::vector<std::string> actions;   // of others, at a call
    std::vector<std::string> programs;  // that run beside from the beginning on
};

// Runs with a cut (any loss that is possible then), a failed call, an action, a program, or with nothing: each as often
// as the others. Gives what came; the run may have ended before it.
std::optional<Disturbance> run_at_random(Run& run, const Choice& choice, Dice& dice);

// Histories 0 to `count` - 1 of that seed: `wrong_in` goes through one. Counts "walks: histories"; a violation is
// called "walk:SEED:NUMBER".
using History = std::function<std::string(Dice& dice)>;
void walk(std::uint64_t seed, std::uint64_t count, const History& wrong_in, Report& report);
// One of them: `text` is "walk:SEED:NUMBER". Throws std::invalid_argument.
std::string replay_walk(const std::string& text, const History& wrong_in);

}  // namespace winsim::explore
