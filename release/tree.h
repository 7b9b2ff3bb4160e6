// The tree that is served:
//
//   TREE/64/current                      the number of the release that clients get, in decimal, with a line end
//   TREE/64/releases/N/manifest.bin      the signed manifest of release N
//   TREE/64/releases/N/files/PATH        its files
//
// (1) A folder releases/N is whole, durable and never changed again: it gets that name by one rename of a finished one.
// (2) `current` always names such a folder: it is replaced, by one rename, after the folder has its name.
// (3) Whoever changes the tree holds its lock. What an interrupted publication left behind (releases/.publishing, a
//     temporary sibling of `current`) is swept by the next one.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "release/files.h"

namespace vandrel_release {

inline constexpr std::string_view kArch = "64";  // the one channel there is

// 1 to 4294967295 in plain decimal, without sign, blank or leading zero; anything else is no release number.
std::optional<std::uint32_t> parse_release_number(std::string_view text);

std::filesystem::path release_folder(const std::filesystem::path& tree, std::uint32_t release);
std::filesystem::path manifest_path(const std::filesystem::path& release_folder);
std::filesystem::path files_folder(const std::filesystem::path& release_folder);

// The release that clients get; nothing if none has been published. Throws Refusal if `current` holds no number.
std::optional<std::uint32_t> current_release(const std::filesystem::path& tree);

// The highest release number in the tree, current or not; 0 if there is none.
std::uint32_t newest_release(const std::filesystem::path& tree);

// One publication under way: holds the tree's lock and an empty folder in which the release is put together. If it ends
// without commit(), that folder goes and nothing else in the tree has changed.
class Publication {
 public:
    // Makes the tree if need be. Throws Refusal if another publication holds the lock.
    explicit Publication(const std::filesystem::path& tree);
    Publication(const Publication&) = delete;
    Publication& operator=(const Publication&) = delete;
    ~Publication();

    // Where the release is put together; laid out as a release's folder.
    const std::filesystem::path& staging() const { return staging_; }

    // Gives the finished release its name, then makes it the current one. Everything is durable when it returns.
    // Power cut: the release isn't there, or is there but not current yet, or is current.
    void commit(std::uint32_t release);

 private:
    std::filesystem::path tree_;
    std::filesystem::path staging_;
    FileHandle lock_;
};

}  // namespace vandrel_release
