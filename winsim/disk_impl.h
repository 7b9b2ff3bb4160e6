// The disk with its open handles, as the bodies of the file calls see it. Not for tests.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "winsim/disk.h"
#include "winsim/disk_names.h"
#include "winsim/disk_state.h"

namespace winsim {

// Access and share modes on handles: the bits of FILE_SHARE_READ, FILE_SHARE_WRITE and FILE_SHARE_DELETE.
inline constexpr std::uint32_t kRead = 1;
inline constexpr std::uint32_t kWrite = 2;
inline constexpr std::uint32_t kDelete = 4;
inline constexpr std::uint32_t kShareAll = kRead | kWrite | kDelete;

// The number of the first file or search handle; each further one is higher by 4, and none is used twice in a run.
inline constexpr std::uintptr_t kFirstFileHandle = 0x10004;

// Where a path leads.
struct Place {
    std::uint32_t error =
        0;  // 0: `node` stands there; 2: nothing does, but its folder is there; else the way is barred
    NodeId folder = kNoNode;  // in which the name is looked for; kComputer for the root of a drive
    NodeId node = kNoNode;
    std::wstring_view name;  // the last part, as the caller spelled it; empty for the root of a drive
    wchar_t drive = 0;       // of `folder` itself, junctions followed
    bool ends_in_separator = false;
    std::size_t units = 0;  // of the full path as text
};

// What one entry of a search looks like; taken when the search begins.
struct FoundEntry {
    std::wstring name;
    std::uint32_t attributes = 0;
    std::uint64_t write_time = 0;
    std::uint64_t size = 0;
};

struct Search {
    std::vector<FoundEntry> entries;
    std::size_t next = 0;
};

struct Open {
    std::uintptr_t number = 0;  // a handle of the helper's; for a hold its own number
    bool hold = false;
    NodeId node = kNoNode;
    std::uint32_t access = 0;
    std::uint32_t share = 0;
    bool write_through = false;
    std::uint64_t offset = 0;
    std::unique_ptr<const std::wstring> path;  // as it was opened; empty for a hold
    std::unique_ptr<Search> search;            // set for a search handle only
};

struct Disk::Impl {
    State state;
    const Clock* clock = nullptr;

    std::uint64_t now() const;

    // Names. A junction on the way is followed; one at the end only with `follow_last`.
    Place resolve(const SplitPath& split, bool follow_last) const { return resolve(split, follow_last, 0); }
    NodeId create(const Place& place, std::uint32_t attributes);  // pending
    void remove_name(NodeId node);                                // pending
    // One pending record: `node` takes the name at `place` and drops its own; what stood there is gone.
    void rename(NodeId node, const Place& place);

    // The body that the network has delivered last: what is written is taken for a part of it where it is the same.
    std::shared_ptr<const Source> delivered;

    // Contents. Errors: 112.
    std::uint32_t write(NodeId file, std::uint64_t offset, std::string_view data);
    void truncate(NodeId file);
    bool has_room(std::uint64_t growth) const { return !state.free_bytes || growth <= *state.free_bytes; }

    // Handles and sharing.
    bool conflicts(NodeId node, std::uint32_t access, std::uint32_t share) const;
    bool is_open_beneath(NodeId folder) const;
    Open& open(NodeId node, std::uint32_t access, std::uint32_t share);  // good until the next open or close
    Open* find(const void* handle);                                      // of the helper's; null for any other number
    bool close(const void* handle);  // false if no such handle is open; performs a deletion that waited for it
    void close_all();                // of the helper's
    std::size_t open_count() const;
    int hold(NodeId node, std::uint32_t access, std::uint32_t share);
    void release(int hold);
    void forget_handles();  // holds too, as if the machine had stopped: no deletion takes place

    // A deletion while handles are open: the name stays until the last of them is closed, and opens give error 5.
    void remove_when_closed(NodeId node);
    bool is_doomed(NodeId node) const;
    bool is_open(NodeId node) const;

 private:
    Place resolve(const SplitPath& split, bool follow_last, int depth) const;
    Place finish(Place& place, bool follow_last, int depth) const;
    NodeId enter(Place& place, int depth) const;
    Place follow(const Node& junction, int depth) const;
    void close_at(std::size_t index);
    void collect_nodes();

    std::vector<Open> opens_;
    std::vector<NodeId> doomed_;
    std::uintptr_t next_handle_ = kFirstFileHandle;
    int next_hold_ = 1;
    std::size_t collect_at_ = 256;
};

// For CloseHandle: false if no file of the helper's is open under that number (a search counts as none).
bool close_disk_handle(Disk& disk, const void* handle);
// The end of a process: its files and searches are closed, and deletions that waited for that take place.
void disk_close_all(Disk& disk);

}  // namespace winsim
