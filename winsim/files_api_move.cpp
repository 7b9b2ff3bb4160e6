// Copying, renaming and replacing files.
#include "winsim/call.h"
#include "winsim/files_api.h"
#include "winsim/world_impl.h"

namespace {

using winsim::kDelete;
using winsim::kRead;
using winsim::kShareAll;
using winsim::kWrite;
using winsim::Node;
using winsim::Place;
using winsim::World;
using DiskImpl = winsim::Disk::Impl;

// CopyFileW.

std::uint32_t copy_source_obstacle(const DiskImpl& disk, const Place& source) {
    if (source.error != 0) return source.error;
    if (disk.state.node(source.node).is_folder()) return ERROR_ACCESS_DENIED;
    return disk.conflicts(source.node, kRead, kShareAll) ? ERROR_SHARING_VIOLATION : 0;
}

// `target` may be a free name.
std::uint32_t copy_target_obstacle(const DiskImpl& disk, const Place& target, const Place& source, bool must_be_free) {
    if (target.error == ERROR_FILE_NOT_FOUND) return winsim::new_file_obstacle(target);
    if (target.error != 0) return target.error;
    const Node& node = disk.state.node(target.node);
    if (must_be_free) return ERROR_FILE_EXISTS;
    constexpr DWORD protecting = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM;
    if (node.is_folder() || (node.attributes & protecting) != 0) return ERROR_ACCESS_DENIED;
    if (node.id == source.node || disk.conflicts(node.id, kWrite, 0)) return ERROR_SHARING_VIOLATION;
    return 0;
}

BOOL copy(World& world, LPCWSTR from, LPCWSTR to, bool must_be_free) {
    DiskImpl& disk = world.disk.impl();
    const Place source = winsim::locate(world, winsim::view_of(from), true);
    Place target = winsim::locate(world, winsim::view_of(to), false);
    std::uint32_t error = copy_source_obstacle(disk, source);
    if (error == 0) error = copy_target_obstacle(disk, target, source, must_be_free);
    if (error == 0 && !disk.has_room(disk.state.node(source.node).size())) error = ERROR_DISK_FULL;
    if (error != 0) return winsim::fail(world, error, FALSE);

    const std::uint32_t attributes = disk.state.node(source.node).attributes | FILE_ATTRIBUTE_ARCHIVE;
    if (target.node == winsim::kNoNode) {
        target.node = disk.create(target, attributes);
    } else {
        disk.truncate(target.node);
        disk.state.edit_node(target.node).attributes = attributes;
    }
    world.gate.inside(1);
    const winsim::Content content = disk.state.node(source.node).live;
    if (disk.state.free_bytes) *disk.state.free_bytes -= content.bytes->size();
    disk.state.edit_node(target.node).live = content;
    world.gate.last_error = ERROR_SUCCESS;  // as the opening inside of it leaves it
    return TRUE;
}

// MoveFileExW.

// Why the file or folder `source` can't take the name at `target`; 0 if it can.
std::uint32_t move_obstacle(const DiskImpl& disk, const Place& source, const Place& target, bool replace) {
    if (source.error != 0) return source.error;
    const Node& moved = disk.state.node(source.node);
    if (source.folder == winsim::kComputer) return ERROR_ACCESS_DENIED;
    if (disk.conflicts(moved.id, kDelete, kShareAll)) return ERROR_SHARING_VIOLATION;
    if (target.error != 0 && target.error != ERROR_FILE_NOT_FOUND) return target.error;
    if (source.drive != target.drive) return ERROR_NOT_SAME_DEVICE;
    if (moved.is_plain_folder()) {
        if (disk.state.is_within(target.folder, moved.id)) return ERROR_INVALID_PARAMETER;
        if (disk.is_open_beneath(moved.id)) return ERROR_ACCESS_DENIED;
    } else if (target.node == winsim::kNoNode && winsim::new_file_obstacle(target) != 0) {
        return winsim::new_file_obstacle(target);
    }
    if (target.node == winsim::kNoNode || target.node == source.node) return 0;
    if (!replace) return ERROR_ALREADY_EXISTS;
    const Node& replaced = disk.state.node(target.node);
    if (moved.is_folder() || replaced.is_folder() || replaced.is_read_only()) return ERROR_ACCESS_DENIED;
    return disk.conflicts(replaced.id, kDelete, kShareAll) ? ERROR_ACCESS_DENIED : 0;
}

BOOL move(World& world, LPCWSTR from, LPCWSTR to, DWORD flags) {
    DiskImpl& disk = world.disk.impl();
    const Place source = winsim::locate(world, winsim::view_of(from), false);
    const Place target = winsim::locate(world, winsim::view_of(to), false);
    const std::uint32_t error = move_obstacle(disk, source, target, (flags & MOVEFILE_REPLACE_EXISTING) != 0);
    if (error != 0) return winsim::fail(world, error, FALSE);
    disk.rename(source.node, target);
    if ((flags & MOVEFILE_WRITE_THROUGH) != 0) disk.state.make_names_durable();
    return TRUE;
}

// ReplaceFileW.

struct Replacement {
    Place target;
    Place source;
    Place backup;
    bool has_backup = false;
};

std::uint32_t replaced_obstacle(const DiskImpl& disk, const Place& place, std::uint32_t access, std::uint32_t share) {
    if (place.error != 0) return place.error;
    const Node& node = disk.state.node(place.node);
    if (node.is_folder()) return ERROR_ACCESS_DENIED;
    return disk.conflicts(node.id, access, share) ? ERROR_SHARING_VIOLATION : 0;
}

std::uint32_t backup_obstacle(const DiskImpl& disk, const Place& backup) {
    if (backup.error == ERROR_FILE_NOT_FOUND) return winsim::new_file_obstacle(backup);
    if (backup.error != 0) return backup.error;
    const Node& node = disk.state.node(backup.node);
    const bool stays = node.is_folder() || node.is_read_only() || disk.conflicts(node.id, kDelete, kShareAll);
    return stays ? ERROR_UNABLE_TO_REMOVE_REPLACED : 0;
}

// The target is opened for reading and deleting and shares everything; the replacement is opened sharing nothing.
std::uint32_t replace_obstacle(const DiskImpl& disk, const Replacement& files) {
    std::uint32_t error = replaced_obstacle(disk, files.target, kRead | kDelete, kShareAll);
    if (error != 0) return error;
    if (disk.state.node(files.target.node).is_read_only()) return ERROR_ACCESS_DENIED;
    error = replaced_obstacle(disk, files.source, kRead | kDelete, 0);
    if (error != 0) return error;
    if (files.source.node == files.target.node) return ERROR_INVALID_PARAMETER;
    if (files.source.drive != files.target.drive) return ERROR_NOT_SAME_DEVICE;
    if (!files.has_backup) return 0;
    error = backup_obstacle(disk, files.backup);
    if (error == 0 && files.backup.drive != files.target.drive) error = ERROR_NOT_SAME_DEVICE;
    return error;
}

bool leaves_traces(std::uint32_t fault) {
    return fault == ERROR_UNABLE_TO_MOVE_REPLACEMENT || fault == ERROR_UNABLE_TO_MOVE_REPLACEMENT_2;
}

// What Windows documents for 1176 and 1177: 1176 costs the target if no backup was asked for; after 1177 the target
// stands under the backup's name, or, if none was given, under a name that nobody has chosen.
BOOL fail_half_way(World& world, const Replacement& files, std::uint32_t fault) {
    DiskImpl& disk = world.disk.impl();
    if (fault == ERROR_UNABLE_TO_MOVE_REPLACEMENT && !files.has_backup) disk.remove_name(files.target.node);
    if (fault == ERROR_UNABLE_TO_MOVE_REPLACEMENT_2) {
        Place other = files.has_backup ? files.backup : files.target;
        const std::wstring name = std::wstring(other.name) + (files.has_backup ? L"" : L"~RF1a2b3c.TMP");
        other.name = name;
        if (!files.has_backup) other.node = winsim::kNoNode;
        disk.rename(files.target.node, other);
        world.gate.inside(1);
    }
    return winsim::fail(world, fault, FALSE);
}

BOOL replace(World& world, Replacement files, bool write_through) {
    DiskImpl& disk = world.disk.impl();
    if (files.has_backup) {
        disk.rename(files.target.node, files.backup);
        files.target.node = winsim::kNoNode;
        world.gate.inside(1);
    }
    disk.rename(files.source.node, files.target);
    if (files.has_backup) world.gate.inside(2);
    if (write_through) disk.state.make_names_durable();
    return TRUE;
}

}  // namespace

BOOL WINAPI CopyFileW(LPCWSTR from, LPCWSTR to, BOOL fail_if_exists) {
    return winsim::gated("CopyFileW", winsim::view_of(to), FALSE,
                         [&](World& world) { return copy(world, from, to, fail_if_exists != FALSE); });
}

BOOL WINAPI MoveFileExW(LPCWSTR from, LPCWSTR to, DWORD flags) {
    return winsim::gated("MoveFileExW", winsim::view_of(to), FALSE, [&](World& world) {
        winsim::demand(world, to != nullptr && (flags & ~(MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) == 0,
                       "MoveFileExW with flags other than 1 and 8, or without a target");
        return move(world, from, to, flags);
    });
}

BOOL WINAPI ReplaceFileW(LPCWSTR replaced, LPCWSTR replacement, LPCWSTR backup, DWORD flags, LPVOID exclude,
                         LPVOID reserved) {
    return winsim::gated_with_fault("ReplaceFileW", winsim::view_of(replaced), FALSE, [&](World& world, DWORD fault) {
        winsim::demand(world, exclude == nullptr && reserved == nullptr && flags <= REPLACEFILE_WRITE_THROUGH,
                       "ReplaceFileW with flags other than 1, or with its reserved arguments");
        if (fault == winsim::kShortTransfer) fault = 0;
        if (fault != 0 && !leaves_traces(fault)) return winsim::fail(world, fault, FALSE);
        Replacement files;
        files.target = winsim::locate(world, winsim::view_of(replaced), false);
        files.source = winsim::locate(world, winsim::view_of(replacement), false);
        files.has_backup = backup != nullptr;
        if (files.has_backup) files.backup = winsim::locate(world, winsim::view_of(backup), false);
        const std::uint32_t error = replace_obstacle(world.disk.impl(), files);
        if (error != 0) return winsim::fail(world, error, FALSE);
        if (fault != 0) return fail_half_way(world, files, fault);
        return replace(world, files, (flags & REPLACEFILE_WRITE_THROUGH) != 0);
    });
}
