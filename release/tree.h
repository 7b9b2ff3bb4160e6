// The tree that is served:
//
//   TREE/64/current                        the number of the release that clients get, in decimal, with a line end
//   TREE/64/releases/N/manifest.bin        the signed manifest of release N
//   TREE/64/releases/N/public.pem          the public half of the key that signed it
//   TREE/64/releases/N/files/PATH          its files
//   TREE/64/releases/.unsigned-N/          release N while it waits for its signature:
//       manifest.range                       what is to be signed
//       release/files/PATH                   its files
//
// (1) A folder releases/N is whole, durable and never changed again: it gets that name by one rename of a finished one,
//     and loses it by one rename before anything in it is removed.
// (2) `current` always names such a folder: it is replaced, by one rename, after the folder has its name.
// (3) Whoever changes the tree holds its lock. What an interrupted change left behind is swept by the next one:
//     releases/.publishing, releases/.removing, a temporary sibling of `current`, and a folder releases/.unsigned-N
//     whose release has gone to its place.
// (4) Everything in the tree can be read by everybody, whatever the umask: folders 0755, files 0644.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace vandrel_release {

inline constexpr std::string_view kArch = "64";  // the one channel there is

// 1 to 4294967295 in plain decimal, without sign, blank or leading zero; anything else is no release number.
std::optional<std::uint32_t> parse_release_number(std::string_view text);

inline constexpr std::string_view kUnsignedPrefix = ".unsigned-";

// TREE/64, TREE/64/releases and TREE/64/current.
std::filesystem::path channel_folder(const std::filesystem::path& tree);
std::filesystem::path releases_folder(const std::filesystem::path& tree);
std::filesystem::path current_file(const std::filesystem::path& tree);

std::filesystem::path release_folder(const std::filesystem::path& tree, std::uint32_t release);
std::filesystem::path manifest_path(const std::filesystem::path& release_folder);
std::filesystem::path public_key_path(const std::filesystem::path& release_folder);
std::filesystem::path files_folder(const std::filesystem::path& release_folder);

// The release that clients get; nothing if none has been published. Throws Refusal if `current` holds no number.
std::optional<std::uint32_t> current_release(const std::filesystem::path& tree);

// The releases of the tree, current or not, in ascending order; those that wait for a signature are not among them.
std::vector<std::uint32_t> releases_in(const std::filesystem::path& tree);

// Those that wait for a signature, in ascending order.
std::vector<std::uint32_t> waiting_in(const std::filesystem::path& tree);

// The highest release number in the tree, that of a release which waits for its signature included; 0 if there is none.
std::uint32_t newest_release(const std::filesystem::path& tree);

// Where a release waits for its signature: the bytes that are to be signed, and the release but for its
// manifest and key.
std::filesystem::path unsigned_folder(const std::filesystem::path& tree, std::uint32_t release);
std::filesystem::path range_path(const std::filesystem::path& unsigned_folder);
std::filesystem::path release_within(const std::filesystem::path& unsigned_folder);

// Whether this number waits for its signature.
bool is_waiting(const std::filesystem::path& tree, std::uint32_t release);

// Throws Refusal "PATH of release N is missing or damaged", of a file that its manifest lists.
[[noreturn]] void refuse_damage(const std::string& path, std::uint32_t release);

// The bytes that are to be signed for a release that waits. Throws Refusal if it doesn't wait.
std::string unsigned_range(const std::filesystem::path& tree, std::uint32_t release);

}  // namespace vandrel_release
