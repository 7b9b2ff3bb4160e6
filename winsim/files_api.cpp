// Opening files, and what is done on an open one.
#include "winsim/files_api.h"

#include <algorithm>
#include <cstring>
#include <sstream>
#include <utility>

#include "winsim/call.h"
#include "winsim/world_impl.h"

namespace winsim {

Place locate(World& world, std::wstring_view path, bool follow_last) {
    thread_local SplitPath split;  // too large to be made anew for every step of every guard
    split_path(path, world.current_folder, false, split);
    const Disk::Impl& disk = world.disk.impl();
    if (split.error == 0 && split.units > kMaxPathUnits) split.error = ERROR_PATH_NOT_FOUND;
    Place place = disk.resolve(split, follow_last);
    if (place.error == 0 && disk.is_doomed(place.node)) place.error = ERROR_ACCESS_DENIED;
    return place;
}

std::uint32_t new_file_obstacle(const Place& place) {
    const bool stream = place.name.find(L':') != std::wstring_view::npos;
    return stream || place.ends_in_separator ? ERROR_INVALID_NAME : 0;
}

std::wstring_view opened_path(HANDLE handle) {
    const Open* open = World::current().disk.impl().find(handle);
    return open == nullptr || open->path == nullptr ? std::wstring_view() : *open->path;
}

Open& require_open(World& world, HANDLE handle, const char* call) {
    Open* open = world.disk.impl().find(handle);
    if (open == nullptr || open->search != nullptr) {
        world.gate.forbid(std::string(call) + " on a handle that is no open file");
    }
    return *open;
}

FILETIME to_filetime(std::uint64_t time) {
    return {static_cast<DWORD>(time), static_cast<DWORD>(time >> 32)};
}

DWORD visible_attributes(std::uint32_t attributes) {
    return attributes == 0 ? FILE_ATTRIBUTE_NORMAL : attributes;
}

}  // namespace winsim

namespace {

using winsim::Open;
using winsim::Place;
using winsim::World;

constexpr DWORD kStoredAttributes =
    FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM | FILE_ATTRIBUTE_TEMPORARY;
constexpr DWORD kKnownFlags = kStoredAttributes | FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_NORMAL |
                              FILE_FLAG_WRITE_THROUGH | FILE_FLAG_SEQUENTIAL_SCAN | FILE_FLAG_BACKUP_SEMANTICS |
                              FILE_FLAG_OPEN_REPARSE_POINT;
constexpr DWORD kReading = GENERIC_READ | FILE_LIST_DIRECTORY;
constexpr DWORD kKnownAccess = kReading | GENERIC_WRITE | FILE_READ_ATTRIBUTES | DELETE | SYNCHRONIZE;

struct OpenRequest {
    LPCWSTR path;
    DWORD access;
    DWORD share;
    DWORD disposition;
    DWORD flags;

    bool has(DWORD flag) const { return (flags & flag) != 0; }
    bool creates() const { return disposition != OPEN_EXISTING; }
    std::uint32_t access_bits() const {
        return ((access & kReading) != 0 ? winsim::kRead : 0) |
               ((access & GENERIC_WRITE) != 0 || disposition == CREATE_ALWAYS ? winsim::kWrite : 0) |
               ((access & DELETE) != 0 ? winsim::kDelete : 0);
    }
    std::uint32_t new_attributes() const { return (flags & kStoredAttributes) | FILE_ATTRIBUTE_ARCHIVE; }
};

// Why what stands there can't be opened; 0 if it can.
std::uint32_t obstacle(const winsim::Disk::Impl& disk, const Place& place, const OpenRequest& request) {
    const winsim::Node& node = disk.state.node(place.node);
    if (request.disposition == CREATE_NEW) return ERROR_FILE_EXISTS;
    const bool writes = (request.access_bits() & winsim::kWrite) != 0;
    if (node.is_folder() && (writes || !request.has(FILE_FLAG_BACKUP_SEMANTICS))) return ERROR_ACCESS_DENIED;
    if (node.is_read_only() && writes) return ERROR_ACCESS_DENIED;
    constexpr DWORD kept = FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM;
    if (request.disposition == CREATE_ALWAYS && (node.attributes & kept & ~request.flags) != 0) {
        return ERROR_ACCESS_DENIED;
    }
    return disk.conflicts(node.id, request.access_bits(), request.share) ? ERROR_SHARING_VIOLATION : 0;
}

HANDLE open_node(World& world, winsim::NodeId node, const OpenRequest& request) {
    Open& open = world.disk.impl().open(node, request.access_bits(), request.share);
    open.write_through = request.has(FILE_FLAG_WRITE_THROUGH);
    open.path = std::make_unique<const std::wstring>(request.path);
    return reinterpret_cast<HANDLE>(open.number);
}

HANDLE open_file(World& world, const OpenRequest& request) {
    winsim::Disk::Impl& disk = world.disk.impl();
    const bool follow = !request.has(FILE_FLAG_OPEN_REPARSE_POINT) && request.disposition != CREATE_NEW;
    Place place = winsim::locate(world, winsim::view_of(request.path), follow);
    DWORD error = ERROR_SUCCESS;
    if (place.error == ERROR_FILE_NOT_FOUND && request.creates() && !place.name.empty()) {
        const std::uint32_t unusable = winsim::new_file_obstacle(place);
        if (unusable != 0) return winsim::fail(world, unusable, INVALID_HANDLE_VALUE);
        place.node = disk.create(place, request.new_attributes());
    } else {
        if (place.error == 0) place.error = obstacle(disk, place, request);
        if (place.error != 0) return winsim::fail(world, place.error, INVALID_HANDLE_VALUE);
        if (request.disposition == CREATE_ALWAYS) {
            disk.truncate(place.node);
            disk.state.edit_node(place.node).attributes = request.new_attributes();
            error = ERROR_ALREADY_EXISTS;
        }
    }
    world.gate.last_error = error;
    return open_node(world, place.node, request);
}

// An injected short transfer moves half of the bytes.
DWORD transfer_size(DWORD size, std::uint32_t fault) {
    return fault == winsim::kShortTransfer ? size / 2 : size;
}

BOOL read(World& world, Open& open, void* buffer, DWORD size, DWORD* done) {
    if ((open.access & winsim::kRead) == 0) return winsim::fail(world, ERROR_ACCESS_DENIED, FALSE);
    const winsim::Node& node = world.disk.impl().state.node(open.node);
    if (open.offset < node.size()) {
        *done = static_cast<DWORD>(std::min<std::uint64_t>(size, node.size() - open.offset));
        node.live.bytes->read(open.offset, static_cast<char*>(buffer), *done);
        open.offset += *done;
    }
    return TRUE;
}

BOOL write(World& world, Open& open, const void* data, DWORD size, DWORD* done) {
    winsim::Disk::Impl& disk = world.disk.impl();
    if ((open.access & winsim::kWrite) == 0) return winsim::fail(world, ERROR_ACCESS_DENIED, FALSE);
    if (size == 0) return TRUE;
    const std::uint32_t error = disk.write(open.node, open.offset, {static_cast<const char*>(data), size});
    if (error != 0) return winsim::fail(world, error, FALSE);
    open.offset += size;
    *done = size;
    if (open.write_through) {
        disk.state.flush(open.node);
        disk.state.make_names_durable();
    }
    return TRUE;
}

}  // namespace

namespace {

std::string described(DWORD access, DWORD share, DWORD disposition, DWORD flags) {
    std::ostringstream text;
    text << "access 0x" << std::hex << access << ", share " << share << ", disposition " << disposition << ", flags 0x"
         << flags;
    return std::move(text).str();
}

}  // namespace

HANDLE WINAPI CreateFileW(LPCWSTR path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security, DWORD disposition,
                          DWORD flags, HANDLE template_file) {
    return winsim::gated("CreateFileW", winsim::view_of(path), INVALID_HANDLE_VALUE, [&](World& world) {
        winsim::demand(world, security == nullptr && template_file == nullptr, "CreateFileW with security or template");
        winsim::demand(world,
                       (access & ~kKnownAccess) == 0 && share <= winsim::kShareAll && (flags & ~kKnownFlags) == 0,
                       "CreateFileW with access, share or flags that the simulated disk doesn't know");
        winsim::demand(world, disposition >= CREATE_NEW && disposition <= OPEN_EXISTING,
                       "CreateFileW with a disposition other than 1, 2 or 3");
        if (world.gate.wants_description()) world.gate.describe(described(access, share, disposition, flags));
        return open_file(world, {path, access, share, disposition, flags});
    });
}

BOOL WINAPI ReadFile(HANDLE file, LPVOID buffer, DWORD size, LPDWORD done, OVERLAPPED* overlapped) {
    return winsim::gated_with_fault("ReadFile", winsim::opened_path(file), FALSE, [&](World& world, DWORD fault) {
        winsim::demand(world, done != nullptr && overlapped == nullptr, "ReadFile without a count, or overlapped");
        Open& open = winsim::require_open(world, file, "ReadFile");
        *done = 0;
        if (fault != 0 && fault != winsim::kShortTransfer) return winsim::fail(world, fault, FALSE);
        return read(world, open, buffer, transfer_size(size, fault), done);
    });
}

BOOL WINAPI WriteFile(HANDLE file, LPCVOID data, DWORD size, LPDWORD done, OVERLAPPED* overlapped) {
    return winsim::gated_with_fault("WriteFile", winsim::opened_path(file), FALSE, [&](World& world, DWORD fault) {
        winsim::demand(world, done != nullptr && overlapped == nullptr, "WriteFile without a count, or overlapped");
        Open& open = winsim::require_open(world, file, "WriteFile");
        *done = 0;
        if (fault != 0 && fault != winsim::kShortTransfer) return winsim::fail(world, fault, FALSE);
        return write(world, open, data, transfer_size(size, fault), done);
    });
}

BOOL WINAPI FlushFileBuffers(HANDLE file) {
    return winsim::gated("FlushFileBuffers", winsim::opened_path(file), FALSE, [&](World& world) {
        const Open& open = winsim::require_open(world, file, "FlushFileBuffers");
        if ((open.access & winsim::kWrite) == 0) return winsim::fail(world, ERROR_ACCESS_DENIED, FALSE);
        world.disk.impl().state.flush(open.node);
        world.disk.impl().state.make_names_durable();
        return TRUE;
    });
}

BOOL WINAPI GetFileSizeEx(HANDLE file, LARGE_INTEGER* size) {
    return winsim::gated("GetFileSizeEx", winsim::opened_path(file), FALSE, [&](World& world) {
        const Open& open = winsim::require_open(world, file, "GetFileSizeEx");
        size->QuadPart = static_cast<LONGLONG>(world.disk.impl().state.node(open.node).size());
        return TRUE;
    });
}

BOOL WINAPI GetFileInformationByHandle(HANDLE file, BY_HANDLE_FILE_INFORMATION* information) {
    return winsim::gated("GetFileInformationByHandle", winsim::opened_path(file), FALSE, [&](World& world) {
        const Open& open = winsim::require_open(world, file, "GetFileInformationByHandle");
        const winsim::Node& node = world.disk.impl().state.node(open.node);
        *information = {};
        winsim::describe(*information, node.attributes, node.live.write_time, node.size());
        information->nNumberOfLinks = 1;
        information->nFileIndexLow = node.id;
        return TRUE;
    });
}
