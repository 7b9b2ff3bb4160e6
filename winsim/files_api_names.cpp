// Attributes of names, and the making and removing of folders and files.
#include "winsim/call.h"
#include "winsim/files_api.h"
#include "winsim/world_impl.h"

namespace {

using winsim::Place;
using winsim::World;

// Why what stands at `place` can't be removed; 0 if it can.
std::uint32_t removal_obstacle(const winsim::Disk::Impl& disk, const Place& place) {
    const winsim::Node& node = disk.state.node(place.node);
    if (disk.conflicts(node.id, winsim::kDelete, winsim::kShareAll)) return ERROR_SHARING_VIOLATION;
    if (node.is_read_only()) return ERROR_ACCESS_DENIED;
    if (node.is_plain_folder() && !disk.state.children(node.id).empty()) return ERROR_DIR_NOT_EMPTY;
    return 0;
}

BOOL remove(World& world, std::wstring_view path, bool folder) {
    winsim::Disk::Impl& disk = world.disk.impl();
    const Place place = winsim::locate(world, path, false);
    if (place.error != 0) return winsim::fail(world, place.error, FALSE);
    if (place.folder == winsim::kComputer) return winsim::fail(world, ERROR_ACCESS_DENIED, FALSE);
    if (disk.state.node(place.node).is_folder() != folder) {
        return winsim::fail(world, folder ? ERROR_DIRECTORY : ERROR_ACCESS_DENIED, FALSE);
    }
    const std::uint32_t error = removal_obstacle(disk, place);
    if (error != 0) return winsim::fail(world, error, FALSE);
    disk.remove_when_closed(place.node);
    return TRUE;
}

std::uint32_t make_folder(World& world, std::wstring_view path) {
    const Place place = winsim::locate(world, path, false);
    if (place.units > winsim::kMaxFolderUnits) return ERROR_FILENAME_EXCED_RANGE;
    if (place.error == ERROR_ACCESS_DENIED || place.folder == winsim::kComputer) return ERROR_ACCESS_DENIED;
    const bool file_with_separator = place.error == ERROR_INVALID_NAME && place.node != winsim::kNoNode;
    if (place.error == 0 || file_with_separator) return ERROR_ALREADY_EXISTS;
    if (place.error != ERROR_FILE_NOT_FOUND) return place.error;
    if (place.name.find(L':') != std::wstring_view::npos) return ERROR_INVALID_NAME;
    world.disk.impl().create(place, FILE_ATTRIBUTE_DIRECTORY);
    return 0;
}

}  // namespace

DWORD WINAPI GetFileAttributesW(LPCWSTR name) {
    const std::wstring_view path = winsim::view_of(name);
    return winsim::gated("GetFileAttributesW", path, INVALID_FILE_ATTRIBUTES, [&](World& world) {
        const Place place = winsim::locate(world, path, false);
        if (place.error != 0) return winsim::fail(world, place.error, INVALID_FILE_ATTRIBUTES);
        return winsim::visible_attributes(world.disk.impl().state.node(place.node).attributes);
    });
}

BOOL WINAPI GetFileAttributesExW(LPCWSTR name, GET_FILEEX_INFO_LEVELS level, LPVOID information) {
    const std::wstring_view path = winsim::view_of(name);
    return winsim::gated("GetFileAttributesExW", path, FALSE, [&](World& world) {
        winsim::demand(world, level == GetFileExInfoStandard, "GetFileAttributesExW with another level than 0");
        const Place place = winsim::locate(world, path, false);
        if (place.error != 0) return winsim::fail(world, place.error, FALSE);
        const winsim::Node& node = world.disk.impl().state.node(place.node);
        auto& data = *static_cast<WIN32_FILE_ATTRIBUTE_DATA*>(information);
        winsim::describe(data, node.attributes, node.live.write_time, node.size());
        return TRUE;
    });
}

BOOL WINAPI CreateDirectoryW(LPCWSTR path, SECURITY_ATTRIBUTES* security) {
    return winsim::gated("CreateDirectoryW", winsim::view_of(path), FALSE, [&](World& world) {
        winsim::demand(world, security == nullptr, "CreateDirectoryW with security");
        const std::uint32_t error = make_folder(world, winsim::view_of(path));
        return error == 0 ? TRUE : winsim::fail(world, error, FALSE);
    });
}

BOOL WINAPI RemoveDirectoryW(LPCWSTR path) {
    return winsim::gated("RemoveDirectoryW", winsim::view_of(path), FALSE,
                         [&](World& world) { return remove(world, winsim::view_of(path), true); });
}

BOOL WINAPI DeleteFileW(LPCWSTR path) {
    return winsim::gated("DeleteFileW", winsim::view_of(path), FALSE,
                         [&](World& world) { return remove(world, winsim::view_of(path), false); });
}
