// `rehearse`: the update of each old release to a new one happens on a simulated machine, by the helper's own code,
// before it happens to a player.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <vector>

#include "release/rehearsal/report.h"

namespace vandrel_release {

struct RehearsalOptions {
    std::filesystem::path tree;
    std::uint32_t to = 0;             // current or a draft
    std::vector<std::uint32_t> from;  // empty: every other release of the tree
    bool cuts = false;
    std::uint64_t lives = 0;  // how many cuts, if not all; 0: all where there are few
};

// Throws Refusal if the tree lacks one of the releases, or what a rehearsal needs of it. Writes nothing.
Rehearsal rehearse(const RehearsalOptions& options);

}  // namespace vandrel_release
