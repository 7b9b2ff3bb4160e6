// Listing a folder. A search sees the folder as it was when the search began.
#include <algorithm>
#include <cwchar>
#include <utility>

#include "winsim/call.h"
#include "winsim/files_api.h"

namespace {

using winsim::FoundEntry;
using winsim::Open;
using winsim::Place;
using winsim::World;
using DiskImpl = winsim::Disk::Impl;

constexpr DWORD kMountPointTag = 0xA0000003U;

FoundEntry entry_of(const winsim::Node& node, std::wstring name) {
    return {std::move(name), node.attributes, node.live.write_time, node.size()};
}

bool is_root(const DiskImpl& disk, winsim::NodeId folder) {
    const winsim::Dirent* name = disk.state.name_of(folder);
    return name == nullptr || name->folder == winsim::kComputer;
}

// What matches in `folder`: "." and "..", then the others by folded name.
std::vector<FoundEntry> list(const DiskImpl& disk, winsim::NodeId folder, std::wstring_view pattern) {
    std::vector<const winsim::Dirent*> matching;
    for (const winsim::Dirent& entry : disk.state.children(folder)) {
        if (winsim::matches_pattern(entry.name->spelled, pattern)) matching.push_back(&entry);
    }
    std::sort(matching.begin(), matching.end(),
              [](const auto* a, const auto* b) { return a->name->folded < b->name->folded; });
    std::vector<FoundEntry> found;
    const bool dots = winsim::has_wildcard(pattern) && !is_root(disk, folder);
    for (const wchar_t* name : {L".", L".."}) {
        if (dots && winsim::matches_pattern(name, pattern)) found.push_back(entry_of(disk.state.node(folder), name));
    }
    for (const auto* entry : matching) found.push_back(entry_of(disk.state.node(entry->node), entry->name->spelled));
    return found;
}

// The folder that a pattern searches; none with `error` set.
winsim::NodeId searched_folder(World& world, winsim::SplitPath& split, std::uint32_t& error) {
    error = split.error;
    if (error == 0 && split.units > winsim::kMaxPathUnits) error = ERROR_PATH_NOT_FOUND;
    if (error == 0 && (split.count == 0 || split.ends_in_separator)) error = ERROR_FILE_NOT_FOUND;
    if (error != 0) return winsim::kNoNode;
    --split.count;
    const DiskImpl& disk = world.disk.impl();
    const Place folder = disk.resolve(split, true);
    error = folder.error == ERROR_FILE_NOT_FOUND ? ERROR_PATH_NOT_FOUND : folder.error;
    if (error != 0) return winsim::kNoNode;
    if (!disk.state.node(folder.node).is_folder()) error = ERROR_DIRECTORY;
    if (error == 0 && disk.is_doomed(folder.node)) error = ERROR_ACCESS_DENIED;
    if (error == 0 && disk.conflicts(folder.node, winsim::kRead, winsim::kShareAll)) error = ERROR_SHARING_VIOLATION;
    return error == 0 ? folder.node : winsim::kNoNode;
}

void give(const FoundEntry& entry, WIN32_FIND_DATAW& data) {
    data = {};
    winsim::describe(data, entry.attributes, entry.write_time, entry.size);
    if ((entry.attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) data.dwReserved0 = kMountPointTag;
    const std::size_t units = std::min<std::size_t>(entry.name.size(), MAX_PATH - 1);
    std::wmemcpy(data.cFileName, entry.name.data(), units);
}

HANDLE begin_search(World& world, LPCWSTR pattern, WIN32_FIND_DATAW& data) {
    winsim::SplitPath split;
    winsim::split_path(winsim::view_of(pattern), world.current_folder, true, split);
    const std::wstring_view name = split.error == 0 ? split.name() : std::wstring_view();
    std::uint32_t error = 0;
    const winsim::NodeId folder = searched_folder(world, split, error);
    if (error != 0) return winsim::fail(world, error, INVALID_HANDLE_VALUE);
    std::vector<FoundEntry> entries = list(world.disk.impl(), folder, name);
    if (entries.empty()) return winsim::fail(world, ERROR_FILE_NOT_FOUND, INVALID_HANDLE_VALUE);
    give(entries.front(), data);
    Open& open = world.disk.impl().open(folder, winsim::kRead, winsim::kShareAll);
    open.path = std::make_unique<const std::wstring>(pattern);
    open.search = std::make_unique<winsim::Search>();
    open.search->entries = std::move(entries);
    open.search->next = 1;
    return reinterpret_cast<HANDLE>(open.number);
}

winsim::Search& require_search(World& world, HANDLE handle, const char* call) {
    Open* open = world.disk.impl().find(handle);
    if (open == nullptr || open->search == nullptr) {
        world.gate.forbid(std::string(call) + " on a handle that is no search");
    }
    return *open->search;
}

}  // namespace

HANDLE WINAPI FindFirstFileW(LPCWSTR pattern, WIN32_FIND_DATAW* data) {
    return winsim::gated("FindFirstFileW", winsim::view_of(pattern), INVALID_HANDLE_VALUE,
                         [&](World& world) { return begin_search(world, pattern, *data); });
}

BOOL WINAPI FindNextFileW(HANDLE handle, WIN32_FIND_DATAW* data) {
    return winsim::gated("FindNextFileW", winsim::opened_path(handle), FALSE, [&](World& world) {
        winsim::Search& search = require_search(world, handle, "FindNextFileW");
        if (search.next == search.entries.size()) return winsim::fail(world, ERROR_NO_MORE_FILES, FALSE);
        give(search.entries[search.next++], *data);
        return TRUE;
    });
}

BOOL WINAPI FindClose(HANDLE handle) {
    return winsim::gated_release("FindClose", FALSE, [&](World& world) {
        require_search(world, handle, "FindClose");
        world.disk.impl().close(handle);
        return TRUE;
    });
}
