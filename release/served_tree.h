// What the endpoint may hand out: manifests of the tree, and the files that they list. Safe to use from several
// threads. Publications, activations and removed releases are seen by the next call; what is open stays whole.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>

#include "release/files.h"
#include "release/tree.h"

namespace vandrel_release {

struct ServedFile {
    FileHandle file;
    std::uint64_t size = 0;
    std::uint32_t release = 0;
};

class ServedTree {
 public:
    // `current`: the release that counts as the current one, whatever the tree says; it may be a draft.
    explicit ServedTree(std::filesystem::path tree, std::optional<std::uint32_t> current = std::nullopt)
        : tree_(std::move(tree)), current_(current) {}

    // The manifest of the current release; nothing if none is published. Refusal if it is missing, or larger than any.
    std::optional<ServedFile> open_manifest();

    // A file of a release, by the exact spelling in that release's manifest; nothing if there is no such release, or
    // the manifest doesn't list it. A listed file that is missing or has another size is damage: Refusal.
    std::optional<ServedFile> open_file(std::uint32_t release, const std::string& path);

 private:
    struct List {
        ino_t inode = 0;  // of the manifest: a number that was removed and published anew is another release
        timespec changed{};
        std::unordered_map<std::string, std::uint64_t> sizes;
    };
    std::shared_ptr<const List> list_of(std::uint32_t release);

    std::optional<std::uint32_t> current() const { return current_ ? current_ : current_release(tree_); }

    std::filesystem::path tree_;
    std::optional<std::uint32_t> current_;
    std::mutex mutex_;
    // A release is read once; few are kept, since a list can have 100000 entries.
    std::map<std::uint32_t, std::shared_ptr<const List>> lists_;
};

}  // namespace vandrel_release
