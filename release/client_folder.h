// A client's folder held against a release, as the helper would do it, without changing anything.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "release/manifest_format.h"

namespace vandrel_release {

enum class FileState { current, missing, changed, conflict };

struct FileVerdict {
    FileState state = FileState::current;
    std::string words;  // of a conflict: why the helper would not go on
};

// One verdict for each file, in order. Names are found as Windows finds them. A file is `current` if it has the size
// and the digest, `missing` or `changed` if the helper would download it, and a `conflict` if the helper would refuse
// the whole release because of what stands there:
//   its own texts for a place that redirects (a symbolic link stands for every kind of redirection) or that is a folder
//   "Arquivo local nao pode ser verificado." for a file that can't be read, or is not the right one and over 4 GiB
//   "a file stands where a folder is needed"
// Every path has passed the helper's policy. Contents are read on all processors, and only where the size is right.
// Throws Refusal "FOLDER is not a folder".
std::vector<FileVerdict> judge_folder(const std::filesystem::path& folder, const std::vector<ReleaseFile>& files);

}  // namespace vandrel_release
