// `rehearse`: the update of each old release to a new one happens on a simulated machine, by the helper's own code,
// before it happens to a player.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "release/rehearsal/report.h"

namespace vandrel_release {

struct RehearsalOptions {
    std::filesystem::path tree;
    std::uint32_t to = 0;             // current or a draft
    std::vector<std::uint32_t> from;  // empty: every other release of the tree
    std::uint32_t line_mbits = 50;    // how fast the player's line is, in 1000000 bits a second
    bool cuts = false;
    std::uint64_t lives = 0;  // so many cuts by chance; 0: see cut_power
};

// Throws Refusal if the tree lacks one of the releases, or what a rehearsal needs of it. Writes nothing.
Rehearsal rehearse(const RehearsalOptions& options);

// Runs one case of the power cuts again, "41/brindler_dx_x64.exe:c117a-3/5+torn", and prints its calls to stdout.
// Gives what is wrong in the end; empty: it is whole. Throws as `rehearse` does, and std::invalid_argument.
std::string replay(const RehearsalOptions& options, const std::string& line);

}  // namespace vandrel_release
