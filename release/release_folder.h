// The files of a client folder that is to become a release.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "release/manifest_format.h"

namespace vandrel_release {

struct FolderContent {
    std::vector<ReleaseFile> files;    // sorted by the bytes of the path; sizes as found, digests still zero
    std::vector<std::string> skipped;  // what a pattern took out, in the same order; a folder with a "/" behind it
    std::vector<std::string> empty_folders;  // a release can't hold them
    std::vector<std::string> idle_patterns;  // patterns that matched nothing
    std::vector<std::string> refusals;       // "PATH: WORDS", for what can't be part of a release
};

// Walks the whole folder. Each pattern is compared with the path relative to it, case-sensitively: "*" stands for any
// characters, "/" included, and "?" for one; nothing else has a meaning of its own. A folder that matches is left out
// with all that it holds; a pattern with a "/" at its end matches folders alone.
// Refused are symbolic links, whatever is neither file nor folder, and what can't be read by who runs this. Throws
// Refusal if the folder isn't one, or as soon as it is seen to hold more than kMaxEntries files.
FolderContent list_release_folder(const std::filesystem::path& folder, const std::vector<std::string>& skip_patterns);

}  // namespace vandrel_release
