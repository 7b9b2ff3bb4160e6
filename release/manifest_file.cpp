#include "release/manifest_file.h"

#include <optional>

#include "release/files.h"
#include "release/refusal.h"
#include "release/tree.h"

namespace vandrel_release {
namespace {

namespace fs = std::filesystem;

fs::path manifest_in(const fs::path& folder) {
    if (fs::exists(manifest_path(folder))) return manifest_path(folder);
    const std::optional<std::uint32_t> current = current_release(folder);
    if (!current) throw Refusal(printable(folder.string()) + ": neither a release nor a tree with a current one");
    return manifest_path(release_folder(folder, *current));
}

}  // namespace

ManifestFile read_manifest(const fs::path& path) {
    ManifestFile manifest;
    manifest.path = fs::is_directory(path) ? manifest_in(path) : path;
    manifest.bytes = read_small_file(manifest.path, kMaxManifestBytes);
    try {
        manifest.listing = list_manifest(manifest.bytes);
    } catch (const Refusal& refusal) {
        throw Refusal(printable(manifest.path.string()) + ": " + refusal.what());
    }
    return manifest;
}

}  // namespace vandrel_release
