// Manifests as files, whoever made them.
#pragma once

#include <filesystem>
#include <string>

#include "release/manifest_format.h"

namespace vandrel_release {

struct ManifestFile {
    std::filesystem::path path;
    std::string bytes;
    Listing listing;
};

// Reads a manifest: that file; of a folder, the manifest.bin in it; of a tree, that of the current release. Nothing in
// it is believed: its form is checked to the last byte, its signature is not. Throws Refusal, "PATH: ..." behind which
// stands what list_manifest says, or that it can't be read or is too large, or that the folder holds none.
ManifestFile read_manifest(const std::filesystem::path& path);

}  // namespace vandrel_release
