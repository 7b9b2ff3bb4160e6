// Changes of the tree that is served, each of which holds its lock and keeps the rules of tree.h.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <string>

#include "release/files.h"

namespace vandrel_release {

enum class MakeCurrent : bool { no, yes };

// The right to change a tree. Makes the tree if need be, and sweeps what an interrupted change has left.
// While it lives, what this process creates is readable by everybody (it sets the umask to 022).
class TreeLock {
 public:
    // Throws Refusal "another publication into this tree is under way" if another process or object holds the lock.
    explicit TreeLock(const std::filesystem::path& tree);
    TreeLock(const TreeLock&) = delete;
    TreeLock& operator=(const TreeLock&) = delete;
    ~TreeLock();

    const std::filesystem::path& tree() const { return tree_; }
    const FileHandle& handle() const { return handle_; }

 private:
    std::filesystem::path tree_;
    mode_t umask_before_;
    FileHandle handle_;
};

// Makes a release of the tree the current one; durable when it returns. The folder of the one before bears the time as
// its last change, so that out_of_use_since() can tell. Throws Refusal if the tree doesn't hold it.
// Failure or power cut: `current` names the old one or the new one.
void make_current(const TreeLock& lock, std::uint32_t release);

// When a release that isn't current stopped being so, or came into the tree: seconds since 1970. Throws Refusal.
std::int64_t out_of_use_since(const std::filesystem::path& tree, std::uint32_t release);

// Gives a release that waits its signed manifest, which begins with unsigned_range(), and the public half of the key
// that signed it (PEM); the caller has verified the one with the other.
// Success: it is releases/N, durable, current if so asked, and waits no longer.
// Failure or power cut: it waits as before, or it is releases/N and not current yet.
// Throws Refusal if it doesn't wait, or "release N is published already".
void adopt_unsigned(const TreeLock& lock, std::uint32_t release, const std::string& manifest,
                    const std::string& public_key, MakeCurrent current);

// Removes a release. Failure or power cut: it stands whole, or is no release any longer (see rule 3).
// Throws Refusal if it is the current one, or if the tree doesn't hold it.
void remove_release(const TreeLock& lock, std::uint32_t release);

// Removes a release that waits for its signature, in the same way.
void remove_unsigned(const TreeLock& lock, std::uint32_t release);

// One publication under way: holds the tree's lock and an empty folder in which the release is put together. If it ends
// without commit() or keep_unsigned(), that folder goes and nothing else in the tree has changed.
class Publication {
 public:
    // Throws as TreeLock does.
    explicit Publication(const std::filesystem::path& tree);
    Publication(const Publication&) = delete;
    Publication& operator=(const Publication&) = delete;
    ~Publication();

    // Where the release is put together; laid out as a release's folder, with an empty folder for its files.
    std::filesystem::path staging() const;

    // Gives the finished release its name, then makes it the current one if so asked. All of it is durable when it
    // returns. Power cut: the release isn't there, or is there but not current yet, or is current.
    // Throws Refusal "release N is published already" or "release N waits for its signature".
    void commit(std::uint32_t release, MakeCurrent current);

    // Keeps the release, whose manifest and key aren't written yet, until its signature comes; `range` is what is to be
    // signed. It is durable when it returns, and nobody is served it. Power cut: it waits, or isn't there. Throws as
    // commit().
    void keep_unsigned(std::uint32_t release, const std::string& range);

 private:
    TreeLock lock_;
    std::filesystem::path workshop_;
};

}  // namespace vandrel_release
