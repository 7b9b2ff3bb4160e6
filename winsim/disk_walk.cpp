// Following a path through folders and junctions, and the changes of names at its end.
#include <windows.h>

#include <utility>

#include "winsim/clock.h"
#include "winsim/disk_impl.h"

namespace winsim {
namespace {

constexpr int kMostJunctions = 31;
constexpr std::uint32_t kCantResolve = 1921;

}  // namespace

std::uint64_t Disk::Impl::now() const {
    return clock == nullptr ? Clock().file_time() : clock->file_time();
}

Place Disk::Impl::resolve(const SplitPath& split, bool follow_last, int depth) const {
    Place place;
    place.error = split.error;
    if (place.error != 0) return place;
    place.drive = split.drive;
    place.units = split.units;
    place.ends_in_separator = split.ends_in_separator;
    const wchar_t drive_name[] = {split.drive, L':'};
    const Dirent* entry = state.find(kComputer, {drive_name, 2}, folded_hash({drive_name, 2}));
    if (entry == nullptr) {
        place.error = ERROR_PATH_NOT_FOUND;
        return place;
    }
    place.folder = kComputer;
    place.node = entry->node;
    for (std::size_t i = 0; i < split.count; ++i) {
        place.folder = enter(place, depth);
        if (place.folder == kNoNode) return place;
        place.name = split.parts[i];
        entry = state.find(place.folder, place.name, split.keys[i]);
        place.node = entry == nullptr ? kNoNode : entry->node;
        if (entry != nullptr) continue;
        place.error = i + 1 == split.count ? ERROR_FILE_NOT_FOUND : ERROR_PATH_NOT_FOUND;
        return place;
    }
    return finish(place, follow_last, depth);
}

Place Disk::Impl::finish(Place& place, bool follow_last, int depth) const {
    const Node& node = state.node(place.node);
    if (follow_last && node.is_junction()) return follow(node, depth);
    if (place.ends_in_separator && !node.is_folder()) place.error = ERROR_INVALID_NAME;
    return place;
}

// The folder in which the next name is looked for; none with `place.error` set.
NodeId Disk::Impl::enter(Place& place, int depth) const {
    const Node& node = state.node(place.node);
    if (node.is_plain_folder()) return node.id;
    place.error = ERROR_PATH_NOT_FOUND;
    if (!node.is_junction()) return kNoNode;
    const Place target = follow(node, depth);
    if (target.error == kCantResolve) place.error = kCantResolve;
    if (target.error != 0 || !state.node(target.node).is_plain_folder()) return kNoNode;
    place.error = 0;
    place.drive = target.drive;
    return target.node;
}

Place Disk::Impl::follow(const Node& junction, int depth) const {
    Place place;
    place.error = kCantResolve;
    if (depth == kMostJunctions) return place;
    SplitPath split;
    split_path(junction.target, L"C:\\", false, split);
    place = resolve(split, true, depth + 1);
    place.name = {};
    return place;
}

NodeId Disk::Impl::create(const Place& place, std::uint32_t attributes) {
    collect_nodes();
    const NodeId node = state.add_node(attributes, now());
    state.commit({{place.folder, node, std::make_shared<Name>(place.name)}});
    return node;
}

void Disk::Impl::remove_name(NodeId node) {
    const Dirent* entry = state.name_of(node);
    if (entry == nullptr) return;
    if (state.free_bytes) *state.free_bytes += state.node(node).size();
    state.commit({{entry->folder, kNoNode, entry->name}});
}

void Disk::Impl::rename(NodeId node, const Place& place) {
    const Dirent* old_name = state.name_of(node);
    const bool replaces = place.node != kNoNode && place.node != node;
    if (replaces && state.free_bytes) *state.free_bytes += state.node(place.node).size();
    Record record;
    if (old_name != nullptr) record.push_back({old_name->folder, kNoNode, old_name->name});
    record.push_back({place.folder, node, std::make_shared<Name>(place.name)});
    state.commit(std::move(record));
}

std::uint32_t Disk::Impl::write(NodeId file, std::uint64_t offset, std::string_view data) {
    const std::uint64_t old_size = state.node(file).size();
    const std::uint64_t end = offset + data.size();
    const std::uint64_t growth = end > old_size ? end - old_size : 0;
    if (!has_room(growth)) return ERROR_DISK_FULL;
    if (state.free_bytes) *state.free_bytes -= growth;
    Content& content = state.edit_node(file).live;
    content.bytes.edit().write(offset, data, delivered);
    content.write_time = now();
    return 0;
}

void Disk::Impl::truncate(NodeId file) {
    if (state.free_bytes) *state.free_bytes += state.node(file).size();
    Content& content = state.edit_node(file).live;
    content.bytes = {};
    content.write_time = now();
}

// Nodes without a name pile up as files are replaced; they go when they have become as many as the others.
void Disk::Impl::collect_nodes() {
    if (state.node_count() < collect_at_) return;
    std::vector<NodeId> in_use;
    for (const Open& open : opens_) in_use.push_back(open.node);
    state.drop_unused_nodes(in_use);
    collect_at_ = 2 * state.node_count() + 64;
}

}  // namespace winsim
