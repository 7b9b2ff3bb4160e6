// Two releases side by side.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "release/manifest_format.h"

namespace vandrel_release {

struct Change {
    const ReleaseFile* before = nullptr;  // null: added
    const ReleaseFile* after = nullptr;   // null: gone
};

struct Comparison {
    std::vector<Change> added;
    std::vector<Change> changed;
    std::vector<Change> gone;  // no longer in the release; a release deletes nothing, so they stay with the players
    std::size_t unchanged = 0;
    std::uint64_t fetch_bytes = 0;  // of all that is added or changed: what a player of the old release downloads
};

// Names are compared as Windows does, in each list in the order of the manifest. The files must outlive the comparison.
Comparison compare(const std::vector<ReleaseFile>& before, const std::vector<ReleaseFile>& after);

// What is downloaded, the largest first; of equals the first in the list.
std::vector<Change> largest_fetched(const Comparison& comparison, std::size_t count);

}  // namespace vandrel_release
