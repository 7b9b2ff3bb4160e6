#include "winsim/disk_state.h"

#include <windows.h>

#include <algorithm>
#include <stdexcept>

namespace winsim {
namespace {

template <class NodeTable>
auto find_node(NodeTable& nodes, NodeId id) -> decltype(&nodes.front()) {
    const std::size_t guess = nodes.empty() ? 0 : id - nodes.front().id;  // right where none before it was dropped
    if (guess < nodes.size() && nodes[guess].id == id) return &nodes[guess];
    const auto at = std::lower_bound(nodes.begin(), nodes.end(), id,
                                     [](const Node& node, NodeId sought) { return node.id < sought; });
    if (at == nodes.end() || at->id != id) throw std::out_of_range("no such node");
    return &*at;
}

}  // namespace

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
    for (const NameTable* names : {&*live_, &*durable_}) {
        names->for_each([&used](const Dirent& entry) { used.push_back(entry.node); });
    }
    for (const Record& record : *journal_) {
        for (const Dirent& change : record) used.push_back(change.node);
    }
    std::sort(used.begin(), used.end());
    const auto unused = [&used](const Node& node) { return !std::binary_search(used.begin(), used.end(), node.id); };
    if (std::any_of(nodes_->begin(), nodes_->end(), unused)) std::erase_if(nodes_.edit(), unused);
}

const Dirent* DiskState::name_of(NodeId id) const {
    if (id == kComputer) return nullptr;  // which is no node
    for (const Dirent& entry : children(node(id).folder)) {
        if (entry.node == id) return &entry;
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

void DiskState::apply_live(const Dirent& change) {
    live_.edit().apply(change);
    if (change.node != kNoNode) edit_node(change.node).folder = change.folder;
}

void DiskState::commit(Record record) {
    for (const Dirent& change : record) apply_live(change);
    journal_.edit().push_back(std::move(record));
}

// A pending record that would later undo the test's change by a power cut is made to say the same.
void DiskState::establish(const Dirent& change) {
    if (journal_->empty()) {
        durable_ = {};  // nothing shares the live names meanwhile, so that none are copied
        apply_live(change);
        durable_ = live_;
        return;
    }
    apply_live(change);
    durable_.edit().apply(change);
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
