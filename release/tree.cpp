#include "release/tree.h"

#include <fcntl.h>
#include <sys/file.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <vector>

#include "release/refusal.h"

namespace vandrel_release {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kStagingName = ".publishing";
constexpr std::uint64_t kMaxCurrentBytes = 64;

fs::path channel_folder(const fs::path& tree) {
    return tree / kArch;
}

fs::path releases_folder(const fs::path& tree) {
    return channel_folder(tree) / "releases";
}

fs::path current_file(const fs::path& tree) {
    return channel_folder(tree) / "current";
}

FileHandle lock_folder(const fs::path& folder) {
    FileHandle handle(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!handle) refuse_system("cannot open " + printable(folder.string()), errno);
    if (::flock(handle.get(), LOCK_EX | LOCK_NB) != 0) {
        if (errno == EWOULDBLOCK) throw Refusal("another publication into this tree is under way");
        refuse_system("cannot lock " + printable(folder.string()), errno);
    }
    return handle;
}

// What a replacement of `current` that was cut short has left (see replace_file).
void sweep_siblings_of_current(const fs::path& tree) {
    const std::string prefix = current_file(tree).filename().string() + ".new-";
    std::vector<fs::path> siblings;
    for (const fs::directory_entry& found : fs::directory_iterator(channel_folder(tree))) {
        if (found.path().filename().string().starts_with(prefix)) siblings.push_back(found.path());
    }
    for (const fs::path& sibling : siblings) fs::remove(sibling);
}

}  // namespace

std::optional<std::uint32_t> parse_release_number(std::string_view text) {
    std::uint32_t number = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stop != end || text.front() == '0') return std::nullopt;
    return number;
}

fs::path release_folder(const fs::path& tree, std::uint32_t release) {
    return releases_folder(tree) / std::to_string(release);
}

fs::path manifest_path(const fs::path& release_folder) {
    return release_folder / "manifest.bin";
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

std::uint32_t newest_release(const fs::path& tree) {
    std::uint32_t newest = current_release(tree).value_or(0);
    if (!fs::exists(releases_folder(tree))) return newest;
    for (const fs::directory_entry& found : fs::directory_iterator(releases_folder(tree))) {
        newest = std::max(newest, parse_release_number(found.path().filename().string()).value_or(0));
    }
    return newest;
}

Publication::Publication(const fs::path& tree) : tree_(tree), staging_(releases_folder(tree) / kStagingName) {
    fs::create_directories(releases_folder(tree));
    lock_ = lock_folder(channel_folder(tree));
    sweep_siblings_of_current(tree);
    fs::remove_all(staging_);
    fs::create_directories(files_folder(staging_));
}

Publication::~Publication() {
    std::error_code ignored;
    fs::remove_all(staging_, ignored);
}

void Publication::commit(std::uint32_t release) {
    flush_file_system(lock_);  // opened before the first file was written
    const fs::path target = release_folder(tree_, release);
    if (fs::symlink_status(target).type() != fs::file_type::not_found) {
        throw Refusal("release " + std::to_string(release) + " is published already");
    }
    if (std::rename(staging_.c_str(), target.c_str()) != 0) {
        refuse_system("cannot give release " + std::to_string(release) + " its name", errno);
    }
    flush_folder(releases_folder(tree_));
    flush_folder(channel_folder(tree_));
    flush_folder(tree_);
    replace_file(current_file(tree_), std::to_string(release) + "\n", 0644);
}

}  // namespace vandrel_release
