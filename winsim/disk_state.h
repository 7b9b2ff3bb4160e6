// What stands on the volumes and what of it is durable: a value that is cheap to copy, with no handles in it.
//
// Three tables: nodes (folders, files, junctions; identity, attributes, contents), and names, each of which ties a node
// to a folder, once as all see them (live) and once as a power cut would find them if nothing pending were kept
// (durable). Between the two stands the journal of pending records. Invariant: durable + the whole journal = live.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "winsim/bytes.h"
#include "winsim/copy_on_write.h"
#include "winsim/loss.h"
#include "winsim/name_table.h"

namespace winsim {

inline constexpr NodeId kComputer = 1;  // the folder in which the drives stand, as "c:"

struct Content {
    CopyOnWrite<Bytes> bytes;
    std::uint64_t write_time = 0;

    bool same(const Content& other) const { return bytes.same(other.bytes) && write_time == other.write_time; }
};

struct Node {
    NodeId id = kNoNode;
    std::uint32_t attributes = 0;
    Content live;
    Content flushed;          // what a power cut leaves if it takes what was written since
    std::wstring target;      // of a junction: a full path
    NodeId folder = kNoNode;  // where it has, or had last, its live name

    bool is_folder() const { return (attributes & 0x10U) != 0; }
    bool is_junction() const { return (attributes & 0x400U) != 0; }
    bool is_plain_folder() const { return (attributes & 0x410U) == 0x10U; }
    bool is_read_only() const { return (attributes & 0x1U) != 0; }
    std::uint64_t size() const { return live.bytes->size(); }
};

// Changes that a power cut keeps or loses together.
using Record = std::vector<Dirent>;

class DiskState {
 public:
    DiskState();  // an empty "c:"

    // Nodes.
    const Node& node(NodeId id) const;  // throws std::out_of_range
    Node& edit_node(NodeId id);
    // A new node that has no name yet; its content counts as flushed.
    NodeId add_node(std::uint32_t attributes, std::uint64_t write_time);
    std::size_t node_count() const { return nodes_->size(); }
    void drop_unused_nodes(const std::vector<NodeId>& in_use);  // all that no name, no record and not `in_use` refer to

    // Live names.
    const Dirent* find(NodeId folder, std::wstring_view name, std::uint64_t key) const {
        return live_->find(folder, name, key);
    }
    std::span<const Dirent> children(NodeId folder) const { return live_->in(folder); }
    const Dirent* name_of(NodeId node) const;  // null if it has none; good until the next change
    std::size_t name_count() const { return live_->size(); }
    bool is_within(NodeId node, NodeId folder) const;  // `node` is `folder`, or lies somewhere beneath it

    // Changes.
    void commit(Record record);            // live now, durable by and by
    void establish(const Dirent& change);  // a test's: live and durable, whatever is pending
    void make_names_durable();
    void flush(NodeId file);  // its content; no names
    void settle();            // names and all contents
    std::size_t pending() const { return journal_->size(); }

    // Power.
    DiskState after(const Loss& loss) const;  // nothing is pending in it
    std::vector<Loss> losses(LossModel model) const;
    std::uint64_t hash() const;
    // Neither has been edited since one was copied from the other.
    bool shares_all_with(const DiskState& other) const {
        return nodes_.same(other.nodes_) && live_.same(other.live_) && durable_.same(other.durable_) &&
               journal_.same(other.journal_) && free_bytes == other.free_bytes;
    }
    // Of what lies beneath `folder` live: names, spellings, contents, attributes, and the times of files.
    std::uint64_t tree_hash(NodeId folder) const;

    std::optional<std::uint64_t> free_bytes;  // unlimited unless set

 private:
    using Nodes = std::vector<Node>;  // by id

    void apply_live(const Dirent& change);
    std::uint64_t hash_beneath(const NameTable& names, NodeId folder, bool whole) const;
    bool has_unflushed() const;
    void keep_reachable();

    CopyOnWrite<Nodes> nodes_;
    CopyOnWrite<NameTable> live_;
    CopyOnWrite<NameTable> durable_;
    CopyOnWrite<std::vector<Record>> journal_;
    NodeId next_id_ = kComputer + 1;
};

}  // namespace winsim
