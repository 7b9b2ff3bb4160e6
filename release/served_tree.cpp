#include "release/served_tree.h"

#include "release/manifest_format.h"
#include "release/refusal.h"
#include "release/tree.h"

namespace vandrel_release {
namespace {

constexpr std::size_t kKeptLists = 4;

}  // namespace

std::optional<ServedFile> ServedTree::open_manifest() {
    std::optional<std::uint32_t> release = current();
    while (release) {
        const std::filesystem::path path = manifest_path(release_folder(tree_, *release));
        try {
            FileHandle file = open_for_reading(path);
            const std::uint64_t size = size_of(file, path);
            if (size > kMaxManifestBytes) refuse_large(path, kMaxManifestBytes);
            return ServedFile{std::move(file), size, *release};
        } catch (const Refusal&) {
            const std::optional<std::uint32_t> now = current();
            if (now == release) throw;  // else it was removed because another is current since
            release = now;
        }
    }
    return std::nullopt;
}

std::optional<ServedFile> ServedTree::open_file(std::uint32_t release, const std::string& path) {
    const std::shared_ptr<const List> list = list_of(release);
    if (!list) return std::nullopt;
    const auto listed = list->sizes.find(path);
    if (listed == list->sizes.end()) return std::nullopt;
    const std::filesystem::path folder = release_folder(tree_, release);
    ServedFile served{open_beneath(files_folder(folder), path), listed->second, release};
    if (served.file && size_of(served.file, folder / path) == served.size) return served;
    if (!std::filesystem::exists(manifest_path(folder))) return std::nullopt;  // removed meanwhile
    refuse_damage(path, release);
}

std::shared_ptr<const ServedTree::List> ServedTree::list_of(std::uint32_t release) {
    const std::scoped_lock lock(mutex_);
    const std::filesystem::path path = manifest_path(release_folder(tree_, release));
    struct stat now {};
    if (::lstat(path.c_str(), &now) != 0) {
        lists_.erase(release);
        return nullptr;
    }
    const auto kept = lists_.find(release);
    if (kept != lists_.end() && kept->second->inode == now.st_ino &&
        kept->second->changed.tv_sec == now.st_ctim.tv_sec && kept->second->changed.tv_nsec == now.st_ctim.tv_nsec) {
        return kept->second;
    }
    auto list = std::make_shared<List>();
    list->inode = now.st_ino;
    list->changed = now.st_ctim;
    for (const ReleaseFile& file : list_manifest(read_small_file(path, kMaxManifestBytes)).files) {
        list->sizes.emplace(file.path, file.size);
    }
    if (lists_.size() >= kKeptLists) lists_.clear();
    lists_[release] = list;
    return list;
}

}  // namespace vandrel_release
