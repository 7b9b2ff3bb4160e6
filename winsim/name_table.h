// The names on the volumes, each of which ties a node to a folder. Cheap to copy; a change costs the names of one
// folder.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "winsim/copy_on_write.h"

namespace winsim {

using NodeId = std::uint32_t;
inline constexpr NodeId kNoNode = 0;

struct Name {
    explicit Name(std::wstring_view name);

    bool is(std::wstring_view name) const;  // in any case

    std::wstring spelled;
    std::wstring folded;
    std::uint64_t key;  // of the folded name
    std::uint64_t spelled_hash;
};

// One name in a folder. As a change: from now on `node` has that name there, or nothing (kNoNode).
struct Dirent {
    Dirent(NodeId in_folder, NodeId for_node, std::shared_ptr<const Name> called)
        : folder(in_folder), node(for_node), key(called->key), name(std::move(called)) {}

    NodeId folder;
    NodeId node;
    std::uint64_t key;  // the name's
    std::shared_ptr<const Name> name;
};

class NameTable {
 public:
    // Pointers and spans are good until the next change.
    // Null if it isn't there. `key` is the name's folded_hash.
    const Dirent* find(NodeId folder, std::wstring_view name, std::uint64_t key) const;
    std::span<const Dirent> in(NodeId folder) const;  // in no useful order
    std::size_t size() const;
    template <class Action>
    void for_each(Action action) const {
        for (const Folder& folder : folders_) {
            for (const Dirent& entry : *folder.names) action(entry);
        }
    }

    void apply(const Dirent& change);
    void forget(NodeId node);                            // whatever its name
    void keep_only(const std::vector<NodeId>& folders);  // the names in these, which are sorted

 private:
    using Dirents = std::vector<Dirent>;  // by key and folded name
    struct Folder {
        NodeId id;
        CopyOnWrite<Dirents> names;  // some
    };

    std::vector<Folder> folders_;  // by id
};

}  // namespace winsim
