#include "release/tree_changes.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <vector>

#include "release/refusal.h"
#include "release/tree.h"

namespace vandrel_release {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kPublishingName = ".publishing";
constexpr std::string_view kRemovingName = ".removing";

std::string named(std::uint32_t release) {
    return "release " + std::to_string(release);
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

// See rule 3.
void sweep(const fs::path& tree) {
    const std::string replacing = current_file(tree).filename().string() + ".new-";
    for (const std::string& name : names_in(channel_folder(tree))) {
        if (name.starts_with(replacing)) fs::remove(channel_folder(tree) / name);
    }
    for (const std::string& name : names_in(releases_folder(tree))) {
        const fs::path path = releases_folder(tree) / name;
        const bool adopted = name.starts_with(kUnsignedPrefix) && !is_there(release_within(path));
        if (adopted || name == kPublishingName || name == kRemovingName) fs::remove_all(path);
    }
}

void give_name(const fs::path& from, const fs::path& to, const std::string& what) {
    if (std::rename(from.c_str(), to.c_str()) != 0) refuse_system("cannot give " + what + " its name", errno);
    flush_folder(to.parent_path());
}

// A file of a release that isn't one yet: an attempt before may have left half of it.
void write_afresh(const fs::path& path, const std::string& content) {
    fs::remove(path);
    write_new_file(path, content, 0644);
}

void refuse_taken(const fs::path& tree, std::uint32_t release) {
    if (is_there(release_folder(tree, release))) throw Refusal(named(release) + " is published already");
}

void require_waiting(const fs::path& tree, std::uint32_t release) {
    if (!is_waiting(tree, release)) throw Refusal(named(release) + " does not wait for a signature");
}

// In the grave a folder has no name that anybody is served.
void remove_folder(const fs::path& tree, const fs::path& folder) {
    const fs::path grave = releases_folder(tree) / kRemovingName;
    if (std::rename(folder.c_str(), grave.c_str()) != 0) {
        refuse_system("cannot remove " + printable(folder.string()), errno);
    }
    flush_folder(releases_folder(tree));
    fs::remove_all(grave);
}

}  // namespace

TreeLock::TreeLock(const fs::path& tree) : tree_(tree), umask_before_(::umask(022)) {
    try {
        fs::create_directories(releases_folder(tree));
        handle_ = lock_folder(channel_folder(tree));
        sweep(tree);
    } catch (...) {
        ::umask(umask_before_);
        throw;
    }
}

TreeLock::~TreeLock() {
    ::umask(umask_before_);
}

void make_current(const TreeLock& lock, std::uint32_t release) {
    const fs::path& tree = lock.tree();
    if (!is_there(release_folder(tree, release))) throw Refusal("the tree holds no " + named(release));
    const auto before = current_release(tree);
    if (before && *before != release) {  // before `current` changes: too late a time is safe, too early a one isn't
        ::utimensat(AT_FDCWD, release_folder(tree, *before).c_str(), nullptr, 0);
    }
    flush_folder(channel_folder(tree));
    flush_folder(tree);  // its names may be new
    replace_file(current_file(tree), std::to_string(release) + "\n", 0644);
}

std::int64_t out_of_use_since(const fs::path& tree, std::uint32_t release) {
    struct stat status {};
    if (::stat(release_folder(tree, release).c_str(), &status) != 0) {
        refuse_system("cannot examine " + named(release), errno);
    }
    return status.st_mtim.tv_sec;
}

void adopt_unsigned(const TreeLock& lock, std::uint32_t release, const std::string& manifest,
                    const std::string& public_key, MakeCurrent current) {
    const fs::path& tree = lock.tree();
    require_waiting(tree, release);
    refuse_taken(tree, release);
    const fs::path folder = unsigned_folder(tree, release);
    write_afresh(public_key_path(release_within(folder)), public_key);
    write_afresh(manifest_path(release_within(folder)), manifest);
    flush_folder(release_within(folder));
    give_name(release_within(folder), release_folder(tree, release), named(release));
    if (current == MakeCurrent::yes) make_current(lock, release);
    fs::remove_all(folder);
}

void remove_release(const TreeLock& lock, std::uint32_t release) {
    const fs::path folder = release_folder(lock.tree(), release);
    if (!is_there(folder)) throw Refusal("the tree holds no " + named(release));
    if (current_release(lock.tree()) == release) throw Refusal(named(release) + " is the current one");
    remove_folder(lock.tree(), folder);
}

void remove_unsigned(const TreeLock& lock, std::uint32_t release) {
    require_waiting(lock.tree(), release);
    remove_folder(lock.tree(), unsigned_folder(lock.tree(), release));
}

Publication::Publication(const fs::path& tree) : lock_(tree), workshop_(releases_folder(tree) / kPublishingName) {
    fs::create_directories(files_folder(staging()));
}

Publication::~Publication() {
    std::error_code ignored;
    fs::remove_all(workshop_, ignored);
}

fs::path Publication::staging() const {
    return release_within(workshop_);
}

void Publication::commit(std::uint32_t release, MakeCurrent current) {
    flush_file_system(lock_.handle());  // opened before the first file was written
    refuse_taken(lock_.tree(), release);
    if (is_waiting(lock_.tree(), release)) throw Refusal(named(release) + " waits for its signature");
    give_name(staging(), release_folder(lock_.tree(), release), named(release));
    if (current == MakeCurrent::yes) make_current(lock_, release);
}

void Publication::keep_unsigned(std::uint32_t release, const std::string& range) {
    write_new_file(range_path(workshop_), range, 0644);
    flush_file_system(lock_.handle());
    refuse_taken(lock_.tree(), release);
    if (is_waiting(lock_.tree(), release)) throw Refusal(named(release) + " waits for its signature");
    give_name(workshop_, unsigned_folder(lock_.tree(), release), named(release));
}

}  // namespace vandrel_release
