#include "winsim/disk_state.h"

#include <windows.h>

#include <algorithm>
#include <stdexcept>
#include <tuple>

#include "winsim/disk_names.h"

namespace winsim {
namespace {

// Where the name stands among `names`, or would.
std::size_t place_of(const std::vector<Dirent>& names, NodeId folder, std::uint64_t key, std::wstring_view name) {
    const auto wanted = std::make_pair(folder, key);
    auto at = std::lower_bound(names.begin(), names.end(), wanted, [](const Dirent& entry, const auto& sought) {
        return std::make_pair(entry.folder, entry.key) < sought;
    });
    while (at != names.end() && at->folder == folder && at->key == key && !same_folded(name, at->name->folded)) {
        ++at;  // another name with the same key
    }
    return static_cast<std::size_t>(at - names.begin());
}

bool stands_at(const std::vector<Dirent>& names, std::size_t place, NodeId folder, std::uint64_t key) {
    return place < names.size() && names[place].folder == folder && names[place].key == key;
}

template <class NodeTable>
auto find_node(NodeTable& nodes, NodeId id) -> decltype(&nodes.front()) {
    const auto at = std::lower_bound(nodes.begin(), nodes.end(), id,
                                     [](const Node& node, NodeId sought) { return node.id < sought; });
    if (at == nodes.end() || at->id != id) throw std::out_of_range("no such node");
    return &*at;
}

}  // namespace

Name::Name(std::wstring_view name) : spelled(name), folded(fold(name)), key(folded_hash(name)), spelled_hash(key) {
    for (const wchar_t unit : spelled) {
        spelled_hash = (spelled_hash ^ static_cast<std::uint32_t>(unit)) * 0x100000001B3U;
    }
}

DiskState::DiskState() {
    const NodeId drive = add_node(FILE_ATTRIBUTE_DIRECTORY, 0);
    establish({kComputer, drive, std::make_shared<Name>(L"c:")});
}

const Node& DiskState::node(NodeId id) const {
    return *find_node(*nodes_, id);
}

Node& DiskState::edit_node(NodeId id) {
    return *find_node(nodes_.edit(), id);
}

NodeId DiskState::add_node(std::uint32_t attributes, std::uint64_t write_time) {
    Node node;
    node.id = next_id_++;
    node.attributes = attributes;
    node.live.write_time = write_time;
    node.flushed = node.live;
    nodes_.edit().push_back(std::move(node));
    return nodes_->back().id;
}

void DiskState::drop_unused_nodes(const std::vector<NodeId>& in_use) {
    std::vector<NodeId> used = in_use;
    for (const Dirent& entry : *live_) used.push_back(entry.node);
    for (const Dirent& entry : *durable_) used.push_back(entry.node);
    for (const Record& record : *journal_) {
        for (const Dirent& change : record) used.push_back(change.node);
    }
    std::sort(used.begin(), used.end());
    const auto unused = [&used](const Node& node) { return !std::binary_search(used.begin(), used.end(), node.id); };
    if (std::any_of(nodes_->begin(), nodes_->end(), unused)) std::erase_if(nodes_.edit(), unused);
}

const Dirent* DiskState::find(NodeId folder, std::wstring_view name) const {
    const std::uint64_t key = folded_hash(name);
    const std::size_t place = place_of(*live_, folder, key, name);
    return stands_at(*live_, place, folder, key) ? &(*live_)[place] : nullptr;
}

std::span<const Dirent> DiskState::children_in(const Names& names, NodeId folder) {
    const auto before = [](const Dirent& entry, NodeId sought) { return entry.folder < sought; };
    const auto behind = [](NodeId sought, const Dirent& entry) { return sought < entry.folder; };
    const auto first = std::lower_bound(names.begin(), names.end(), folder, before);
    const auto last = std::upper_bound(first, names.end(), folder, behind);
    return {first, last};
}

std::span<const Dirent> DiskState::children(NodeId folder) const {
    return children_in(*live_, folder);
}

const Dirent* DiskState::name_of(NodeId node) const {
    for (const Dirent& entry : *live_) {
        if (entry.node == node) return &entry;
    }
    return nullptr;
}

bool DiskState::is_within(NodeId node, NodeId folder) const {
    while (node != folder) {
        const Dirent* name = name_of(node);
        if (name == nullptr) return false;
        node = name->folder;
    }
    return true;
}

void DiskState::apply(Names& names, const Dirent& change) {
    const std::size_t place = place_of(names, change.folder, change.key, change.name->spelled);
    const auto at = names.begin() + static_cast<std::ptrdiff_t>(place);
    const bool taken = stands_at(names, place, change.folder, change.key);
    if (taken && change.node == kNoNode) {
        names.erase(at);
    } else if (taken) {
        *at = change;
    } else if (change.node != kNoNode) {
        names.insert(at, change);
    }
}

void DiskState::commit(Record record) {
    Names& names = live_.edit();
    for (const Dirent& change : record) apply(names, change);
    journal_.edit().push_back(std::move(record));
}

// A pending record that would later undo the test's change by a power cut is made to say the same.
void DiskState::establish(const Dirent& change) {
    apply(live_.edit(), change);
    if (journal_->empty()) {
        durable_ = live_;
        return;
    }
    apply(durable_.edit(), change);
    for (Record& record : journal_.edit()) {
        for (Dirent& pending : record) {
            if (pending.folder == change.folder && pending.name->folded == change.name->folded) pending = change;
        }
    }
}

void DiskState::make_names_durable() {
    if (journal_->empty()) return;
    durable_ = live_;
    journal_ = {};
}

void DiskState::flush(NodeId file) {
    if (node(file).live.same(node(file).flushed)) return;
    Node& flushed = edit_node(file);
    flushed.flushed = flushed.live;
}

void DiskState::settle() {
    make_names_durable();
    if (!has_unflushed()) return;
    for (Node& node : nodes_.edit()) node.flushed = node.live;
}

bool DiskState::has_unflushed() const {
    return std::any_of(nodes_->begin(), nodes_->end(), [](const Node& node) { return !node.live.same(node.flushed); });
}

}  // namespace winsim
