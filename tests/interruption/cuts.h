// Where the power may go in a visit, and what that leaves: the moments of its calls, each with every loss.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tests/interruption/story.h"

namespace interruption {

// The parts of what a replay is written in.
std::vector<std::string> split_at_colons(const std::string& text);

// A moment of one call: "f117b" before call 117 of the first instance, "c12a" after call 12 of the copy, "c300i2"
// inside call 300, behind its second step.
struct Point {
    Run run = Run::first;
    std::uint64_t call = 0;
    winsim::Moment moment = winsim::Moment::before;
    std::uint32_t step = 0;
};
std::string text_of(const Point& point);
std::optional<Point> parse_point(const std::string& text);

// A point with a loss: "c117a:3/5+torn".
struct Cut {
    Point point;
    winsim::Loss loss;
};
std::string text_of(const Cut& cut);
// The cuts of "c117a:3/5+torn:f48b:0/2+kept". Throws std::invalid_argument.
std::vector<Cut> parse_cuts(const std::string& text);

// One loss that a moment allows, and what it leaves.
struct Remains {
    winsim::Loss loss;
    Snapshot disk;
    std::uint64_t hash = 0;
};

// Called at each moment of each call of a visit, with all losses that are possible there. `fresh` is false as long as
// nothing has changed on the disk since the moment before.
using AtMoment =
    std::function<void(const Point& point, const winsim::Call& call, const std::vector<Remains>& remains, bool fresh)>;

// Watches a visit before it runs. `visit` must stand still until it has run.
void watch_moments(Visit& visit, winsim::LossModel model, AtMoment at_moment);

// Cuts the power in the visit at the cut's point, and gives what its loss leaves. Throws std::runtime_error if the
// visit never comes to that point.
Snapshot run_and_cut(Visit& visit, const Cut& cut);

}  // namespace interruption
