// Files of one release that can't stand in one folder, because Windows takes their names for one.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "release/manifest_format.h"

namespace vandrel_release {

// A path as Windows compares it: names that differ only in case, of whatever script, are one. Bytes that are no valid
// UTF-8 stay as they are.
std::string windows_name(const std::string& path);

struct NameConflict {
    std::size_t earlier = 0;
    std::size_t later = 0;
    bool same_name = false;  // or one of the two is a file where the other needs a folder
};

// One conflict for each file that is the later of two; without those files there is none left. In one pass and a look
// at each folder: as good as linear.
std::vector<NameConflict> find_name_conflicts(const std::vector<ReleaseFile>& files);

}  // namespace vandrel_release
