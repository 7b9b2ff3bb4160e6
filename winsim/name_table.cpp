#include "winsim/name_table.h"

#include <algorithm>

#include "winsim/disk_names.h"

namespace winsim {
namespace {

// Where the name stands among `names`, or would.
std::size_t place_among(std::span<const Dirent> names, std::uint64_t key, std::wstring_view name) {
    auto at = std::lower_bound(names.begin(), names.end(), key,
                               [](const Dirent& entry, std::uint64_t sought) { return entry.key < sought; });
    while (at != names.end() && at->key == key && !at->name->is(name)) {
        ++at;  // another name with the same key
    }
    return static_cast<std::size_t>(at - names.begin());
}

bool stands_at(std::span<const Dirent> names, std::size_t place, std::uint64_t key) {
    return place < names.size() && names[place].key == key;
}

template <class Folders>
auto place_in(Folders& folders, NodeId folder) -> decltype(folders.begin()) {
    return std::lower_bound(folders.begin(), folders.end(), folder,
                            [](const auto& entry, NodeId sought) { return entry.id < sought; });
}

}  // namespace

Name::Name(std::wstring_view name) : spelled(name), folded(fold(name)), key(folded_hash(name)), spelled_hash(key) {
    for (const wchar_t unit : spelled) {
        spelled_hash = (spelled_hash ^ static_cast<std::uint32_t>(unit)) * 0x100000001B3U;
    }
}

bool Name::is(std::wstring_view name) const {
    return name == spelled || same_folded(name, folded);
}

std::span<const Dirent> NameTable::in(NodeId folder) const {
    const auto at = place_in(folders_, folder);
    if (at == folders_.end() || at->id != folder) return {};
    return *at->names;
}

const Dirent* NameTable::find(NodeId folder, std::wstring_view name, std::uint64_t key) const {
    const std::span<const Dirent> names = in(folder);
    const std::size_t place = place_among(names, key, name);
    return stands_at(names, place, key) ? &names[place] : nullptr;
}

std::size_t NameTable::size() const {
    std::size_t size = 0;
    for (const Folder& folder : folders_) size += folder.names->size();
    return size;
}

void NameTable::apply(const Dirent& change) {
    auto at = place_in(folders_, change.folder);
    if (at == folders_.end() || at->id != change.folder) {
        if (change.node == kNoNode) return;
        at = folders_.insert(at, {change.folder, {}});
    }
    const std::size_t place = place_among(*at->names, change.key, change.name->spelled);
    const bool taken = stands_at(*at->names, place, change.key);
    if (!taken && change.node == kNoNode) return;
    Dirents& names = at->names.edit();
    const auto entry = names.begin() + static_cast<std::ptrdiff_t>(place);
    if (change.node == kNoNode) {
        names.erase(entry);
    } else if (taken) {
        *entry = change;
    } else {
        names.insert(entry, change);
    }
    if (names.empty()) folders_.erase(at);
}

void NameTable::forget(NodeId node) {
    const auto is_its = [node](const Dirent& entry) { return entry.node == node; };
    for (Folder& folder : folders_) {
        if (std::any_of(folder.names->begin(), folder.names->end(), is_its)) std::erase_if(folder.names.edit(), is_its);
    }
    std::erase_if(folders_, [](const Folder& folder) { return folder.names->empty(); });
}

void NameTable::keep_only(const std::vector<NodeId>& folders) {
    std::erase_if(folders_, [&folders](const Folder& folder) {
        return !std::binary_search(folders.begin(), folders.end(), folder.id);
    });
}

}  // namespace winsim
