#include "release/served_tree.h"

#include "release/manifest_format.h"
#include "release/refusal.h"
#include "release/tree.h"

namespace vandrel_release {
namespace {

constexpr std::size_t kKeptLists = 4;

}  // namespace

std::optional<ServedFile> ServedTree::open_manifest() {
    const std::optional<std::uint32_t> release = current_release(tree_);
    if (!release) return std::nullopt;
    const std::filesystem::path path = manifest_path(release_folder(tree_, *release));
    ServedFile served{open_for_reading(path), 0};
    served.size = static_cast<std::uint64_t>(status_of(served.file, path).st_size);
    return served;
}

std::optional<ServedFile> ServedTree::open_file(std::uint32_t release, const std::string& path) {
    const std::shared_ptr<const Sizes> sizes = listed_sizes(release);
    if (!sizes) return std::nullopt;
    const auto listed = sizes->find(path);
    if (listed == sizes->end()) return std::nullopt;
    const std::filesystem::path files = files_folder(release_folder(tree_, release));
    ServedFile served{open_beneath(files, path), listed->second};
    if (!served.file || static_cast<std::uint64_t>(status_of(served.file, files / path).st_size) != served.size) {
        throw Refusal(printable(path) + " of release " + std::to_string(release) + " is missing or damaged");
    }
    return served;
}

std::shared_ptr<const ServedTree::Sizes> ServedTree::listed_sizes(std::uint32_t release) {
    const std::scoped_lock lock(mutex_);
    if (const auto kept = lists_.find(release); kept != lists_.end()) return kept->second;
    const std::filesystem::path path = manifest_path(release_folder(tree_, release));
    if (!std::filesystem::exists(path)) return nullptr;
    auto sizes = std::make_shared<Sizes>();
    for (const ReleaseFile& file : list_manifest(read_small_file(path, kMaxManifestBytes)).files) {
        sizes->emplace(file.path, file.size);
    }
    if (lists_.size() >= kKeptLists) lists_.clear();
    lists_.emplace(release, sizes);
    return sizes;
}

}  // namespace vandrel_release
