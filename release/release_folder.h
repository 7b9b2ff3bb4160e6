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
};

// Walks the whole folder. Each pattern is compared with the path relative to it, case-sensitively: "*" and "?" stand
// for any characters, "/" included; a folder that matches is left out with all that it holds. Throws Refusal, naming
// the path, at a symbolic link or anything else that is neither file nor folder.
FolderContent list_release_folder(const std::filesystem::path& folder, const std::vector<std::string>& skip_patterns);

}  // namespace vandrel_release
