// What a power cut leaves: every loss that is possible, and the state behind each.
#include <algorithm>
#include <set>
#include <utility>

#include "winsim/disk_state.h"

namespace winsim {
namespace {

using Data = Loss::Data;

std::uint64_t hash_content(std::uint64_t hash, const Content& content) {
    return mix(mix(hash, content.bytes->hash()), content.write_time);
}

// All flags false but the first `count`.
Loss prefix(std::size_t count, std::size_t pending) {
    Loss loss;
    loss.kept.assign(pending, false);
    std::fill_n(loss.kept.begin(), count, true);
    return loss;
}

std::vector<Loss> name_losses(std::size_t pending, LossModel model) {
    std::vector<Loss> losses;
    for (std::size_t count = pending + 1; count > 0; --count) losses.push_back(prefix(count - 1, pending));
    if (model == LossModel::journal) return losses;
    for (std::size_t i = 0; i < pending; ++i) {
        losses.push_back(prefix(pending, pending));
        losses.back().kept[i] = false;
        losses.push_back(prefix(0, pending));
        losses.back().kept[i] = true;
    }
    return losses;
}

// The new size, the first half new, the rest zeros.
Content torn(const Content& content) {
    Content result = content;
    result.bytes = CopyOnWrite<Bytes>(content.bytes->torn());
    return result;
}

Content survivor(const Node& node, Data data) {
    if (data == Data::kept) return node.live;
    return data == Data::lost ? node.flushed : torn(node.live);
}

}  // namespace

DiskState DiskState::after(const Loss& loss) const {
    DiskState state = *this;
    state.journal_ = {};
    const std::size_t flags = std::min(loss.kept.size(), journal_->size());
    const bool everything = flags == journal_->size() && std::count(loss.kept.begin(), loss.kept.end(), false) == 0;
    if (!everything) state.live_ = durable_;
    for (std::size_t i = 0; i < flags && !everything; ++i) {
        if (!loss.kept[i]) continue;
        NameTable& names = state.live_.edit();
        for (const Dirent& change : (*journal_)[i]) {
            // Without the records before it, a rename finds its file under an older name: a file has one name.
            if (change.node != kNoNode && !loss.keeps_prefix()) names.forget(change.node);
            names.apply(change);
        }
    }
    state.keep_reachable();
    if (state.has_unflushed()) {
        for (Node& node : state.nodes_.edit()) {
            if (!node.live.same(node.flushed)) node.live = survivor(node, loss.data);
            node.flushed = node.live;
        }
    }
    state.durable_ = state.live_;
    return state;
}

// Names in a folder that isn't there any more go, and so do the nodes behind them.
void DiskState::keep_reachable() {
    std::vector<NodeId> folders = {kComputer};
    std::size_t reached = 0;
    for (std::size_t i = 0; i < folders.size(); ++i) {
        for (const Dirent& entry : children(folders[i])) {
            ++reached;
            if (node(entry.node).folder != folders[i]) edit_node(entry.node).folder = folders[i];
            if (node(entry.node).is_folder()) folders.push_back(entry.node);
        }
    }
    if (reached != live_->size()) {
        std::sort(folders.begin(), folders.end());
        live_.edit().keep_only(folders);
    }
    durable_ = live_;
    drop_unused_nodes({});
}

std::vector<Loss> DiskState::losses(LossModel model) const {
    std::vector<Loss> result;
    std::set<std::uint64_t> seen;
    const bool unflushed = has_unflushed();
    for (Loss& loss : name_losses(pending(), model)) {
        for (const Data data : {Data::kept, Data::lost, Data::torn}) {
            if (data != Data::kept && !unflushed) continue;
            loss.data = data;
            if (seen.insert(after(loss).hash()).second) result.push_back(loss);
        }
    }
    return result;
}

// `whole` takes in what only a power cut or a look at a folder's time would show.
std::uint64_t DiskState::hash_beneath(const NameTable& names, NodeId folder, bool whole) const {
    std::vector<std::pair<NodeId, std::uint64_t>> folders = {{folder, 1}};
    std::uint64_t sum = 0;  // of the entries' hashes: their order in the table says nothing
    for (std::size_t i = 0; i < folders.size(); ++i) {
        const auto [id, path_hash] = folders[i];
        for (const Dirent& entry : names.in(id)) {
            const Node& entered = node(entry.node);
            const std::uint64_t path = mix(path_hash, entry.name->spelled_hash);
            std::uint64_t hash = mix(path, entered.attributes);
            if (whole || !entered.is_folder()) hash = hash_content(hash, entered.live);
            if (whole && !entered.live.same(entered.flushed)) hash = hash_content(mix(hash, 7), entered.flushed);
            for (const wchar_t unit : entered.target) hash = mix(hash, static_cast<std::uint32_t>(unit));
            sum += mix(hash, 3);
            if (entered.is_folder()) folders.emplace_back(entry.node, path);
        }
    }
    return mix(sum, folders.size());
}

std::uint64_t DiskState::tree_hash(NodeId folder) const {
    return hash_beneath(*live_, folder, false);
}

// Two states with the same hash look alike now and after every loss of the journal model.
std::uint64_t DiskState::hash() const {
    std::uint64_t hash = mix(hash_beneath(*live_, kComputer, true), free_bytes.value_or(~0ULL));
    if (journal_->empty()) return hash;
    NameTable names = *durable_;
    hash = mix(hash, hash_beneath(names, kComputer, true));
    for (const Record& record : *journal_) {
        for (const Dirent& change : record) names.apply(change);
        hash = mix(hash, hash_beneath(names, kComputer, true));
    }
    return hash;
}

}  // namespace winsim
