#include "release/tree.h"

#include <algorithm>
#include <charconv>

#include "release/files.h"
#include "release/manifest_format.h"
#include "release/refusal.h"

namespace vandrel_release {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kReleaseName = "release";  // within the folder of a release that waits, or is put together
constexpr std::string_view kRangeName = "manifest.range";
constexpr std::uint64_t kMaxCurrentBytes = 64;

// The numbers that stand behind this prefix among the names of the tree's releases.
std::vector<std::uint32_t> numbers_behind(std::string_view prefix, const fs::path& tree) {
    std::vector<std::uint32_t> numbers;
    for (const std::string& name : names_in(releases_folder(tree))) {
        if (!name.starts_with(prefix)) continue;
        if (const auto number = parse_release_number(std::string_view(name).substr(prefix.size()))) {
            numbers.push_back(*number);
        }
    }
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

}  // namespace

std::optional<std::uint32_t> parse_release_number(std::string_view text) {
    std::uint32_t number = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stop != end || text.front() == '0') return std::nullopt;
    return number;
}

fs::path channel_folder(const fs::path& tree) {
    return tree / kArch;
}

fs::path releases_folder(const fs::path& tree) {
    return channel_folder(tree) / "releases";
}

fs::path current_file(const fs::path& tree) {
    return channel_folder(tree) / "current";
}

fs::path release_folder(const fs::path& tree, std::uint32_t release) {
    return releases_folder(tree) / std::to_string(release);
}

fs::path manifest_path(const fs::path& release_folder) {
    return release_folder / "manifest.bin";
}

fs::path public_key_path(const fs::path& release_folder) {
    return release_folder / "public.pem";
}

fs::path files_folder(const fs::path& release_folder) {
    return release_folder / "files";
}

std::optional<std::uint32_t> current_release(const fs::path& tree) {
    const fs::path path = current_file(tree);
    if (!fs::exists(path)) return std::nullopt;
    std::string text = read_small_file(path, kMaxCurrentBytes);
    if (!text.empty() && text.back() == '\n') text.pop_back();
    const std::optional<std::uint32_t> release = parse_release_number(text);
    if (!release) throw Refusal(printable(path.string()) + " holds no release number");
    return release;
}

std::vector<std::uint32_t> releases_in(const fs::path& tree) {
    return numbers_behind("", tree);
}

std::vector<std::uint32_t> waiting_in(const fs::path& tree) {
    return numbers_behind(kUnsignedPrefix, tree);
}

std::uint32_t newest_release(const fs::path& tree) {
    std::uint32_t newest = current_release(tree).value_or(0);
    for (const std::vector<std::uint32_t>& numbers : {releases_in(tree), waiting_in(tree)}) {
        if (!numbers.empty()) newest = std::max(newest, numbers.back());
    }
    return newest;
}

fs::path unsigned_folder(const fs::path& tree, std::uint32_t release) {
    return releases_folder(tree) / (std::string(kUnsignedPrefix) + std::to_string(release));
}

fs::path range_path(const fs::path& unsigned_folder) {
    return unsigned_folder / kRangeName;
}

fs::path release_within(const fs::path& unsigned_folder) {
    return unsigned_folder / kReleaseName;
}

bool is_waiting(const fs::path& tree, std::uint32_t release) {
    return is_there(release_within(unsigned_folder(tree, release)));
}

void refuse_damage(const std::string& path, std::uint32_t release) {
    throw Refusal(printable(path) + " of release " + std::to_string(release) + " is missing or damaged");
}

std::string unsigned_range(const fs::path& tree, std::uint32_t release) {
    if (!is_waiting(tree, release)) {
        throw Refusal("release " + std::to_string(release) + " does not wait for a signature");
    }
    return read_small_file(range_path(unsigned_folder(tree, release)), kMaxManifestBytes);
}

}  // namespace vandrel_release
