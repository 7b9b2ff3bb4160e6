// What tests do with a disk: set-up, looks, holds, power.
#include "winsim/disk.h"

#include <windows.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "winsim/disk_impl.h"

namespace winsim {
namespace {

using Impl = Disk::Impl;

SplitPath split_full(const std::wstring& path) {
    SplitPath split;
    split_path(path, L"C:\\", false, split);
    if (split.error != 0 || path.size() < 2 || path[1] != L':') throw std::invalid_argument("not a usable full path");
    return split;
}

Place look(const Impl& disk, const std::wstring& path) {
    return disk.resolve(split_full(path), false);
}

const Node& require(const Impl& disk, const std::wstring& path) {
    const Place place = look(disk, path);
    if (place.error != 0) throw std::out_of_range("nothing stands at this path");
    return disk.state.node(place.node);
}

NodeId establish(Impl& disk, NodeId folder, std::wstring_view name, std::uint32_t attributes) {
    const NodeId node = disk.state.add_node(attributes, disk.now());
    disk.state.establish({folder, node, std::make_shared<Name>(name)});
    return node;
}

// The folder that `split` names up to part `count`, made as needed.
NodeId folder_of(Impl& disk, SplitPath split, std::size_t count) {
    split.count = 0;
    const wchar_t drive[] = {split.drive, L':'};
    Place place = disk.resolve(split, true);
    if (place.error != 0) place.node = establish(disk, kComputer, {drive, 2}, FILE_ATTRIBUTE_DIRECTORY);
    for (std::size_t i = 0; i < count; ++i) {
        const NodeId folder = place.node;
        split.count = i + 1;
        place = disk.resolve(split, true);
        if (place.error == ERROR_FILE_NOT_FOUND) {
            place.node = establish(disk, folder, split.parts[i], FILE_ATTRIBUTE_DIRECTORY);
        } else if (place.error != 0 || !disk.state.node(place.node).is_folder()) {
            throw std::invalid_argument("no folder can stand at this path");
        }
    }
    return place.node;
}

// The node at `path`, made with `attributes` if nothing stands there.
NodeId make(Impl& disk, const std::wstring& path, std::uint32_t attributes) {
    const SplitPath split = split_full(path);
    if (split.count == 0) throw std::invalid_argument("the root of a drive");
    const NodeId folder = folder_of(disk, split, split.count - 1);
    const Dirent* entry = disk.state.find(folder, split.name(), split.keys[split.count - 1]);
    return entry != nullptr ? entry->node : establish(disk, folder, split.name(), attributes);
}

void erase_beneath(Impl& disk, const Dirent& entry) {
    std::vector<Dirent> children(disk.state.children(entry.node).begin(), disk.state.children(entry.node).end());
    for (const Dirent& child : children) erase_beneath(disk, child);
    disk.state.establish({entry.folder, kNoNode, entry.name});
}

void list_beneath(const Impl& disk, NodeId folder, const std::wstring& path, std::vector<std::wstring>& found) {
    for (const Dirent& entry : disk.state.children(folder)) {
        const std::wstring full = path + L"\\" + entry.name->spelled;
        const Node& node = disk.state.node(entry.node);
        found.push_back(node.is_folder() ? full + L"\\" : full);
        if (node.is_plain_folder()) list_beneath(disk, entry.node, full, found);
    }
}

std::uint32_t access_bits(std::uint32_t access) {
    return ((access & GENERIC_READ) != 0 ? kRead : 0) | ((access & GENERIC_WRITE) != 0 ? kWrite : 0) |
           ((access & DELETE) != 0 ? kDelete : 0);
}

}  // namespace

Disk::Disk() : impl_(std::make_unique<Impl>()) {}
Disk::~Disk() = default;

void Disk::use_clock(const Clock& clock) {
    impl_->clock = &clock;
}

void Disk::make_folder(const std::wstring& path) {
    const SplitPath split = split_full(path);
    folder_of(*impl_, split, split.count);
}

void Disk::put(const std::wstring& path, std::string content) {
    put(path, std::move(content), impl_->now());
}

void Disk::put(const std::wstring& path, std::string content, std::uint64_t write_time) {
    put(path, Bytes(std::move(content)), write_time);
}

void Disk::put(const std::wstring& path, const Bytes& content, std::uint64_t write_time) {
    const NodeId file = make(*impl_, path, FILE_ATTRIBUTE_ARCHIVE);
    Node& node = impl_->state.edit_node(file);
    if (node.is_folder()) throw std::invalid_argument("a folder stands at this path");
    node.live = {CopyOnWrite<Bytes>(content), write_time};
    node.flushed = node.live;
}

void Disk::lengthen(const std::wstring& path, std::uint64_t zeros) {
    Node& node = impl_->state.edit_node(require(*impl_, path).id);
    node.live.bytes.edit().set_zeros(zeros);
    node.flushed = node.live;
}

void Disk::make_junction(const std::wstring& path, const std::wstring& target_folder) {
    split_full(target_folder);
    const NodeId junction = make(*impl_, path, FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT);
    Node& node = impl_->state.edit_node(junction);
    const bool turns = node.is_plain_folder() && impl_->state.children(junction).empty();
    if (!turns && !node.is_junction()) throw std::invalid_argument("something else stands at this path");
    node.attributes |= FILE_ATTRIBUTE_REPARSE_POINT;
    node.target = target_folder;
}

void Disk::erase(const std::wstring& path) {
    const Place place = look(*impl_, path);
    if (place.error != 0) return;
    if (place.folder == kComputer) throw std::invalid_argument("the root of a drive");
    const Dirent entry = *impl_->state.name_of(place.node);
    erase_beneath(*impl_, entry);
}

void Disk::set_attributes(const std::wstring& path, std::uint32_t attributes) {
    constexpr std::uint32_t kind = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;
    Node& node = impl_->state.edit_node(require(*impl_, path).id);
    node.attributes = (attributes & ~kind) | (node.attributes & kind);
}

void Disk::set_write_time(const std::wstring& path, std::uint64_t write_time) {
    Node& node = impl_->state.edit_node(require(*impl_, path).id);
    node.live.write_time = write_time;
    node.flushed.write_time = write_time;
}

void Disk::set_free_bytes(std::uint64_t bytes) {
    impl_->state.free_bytes = bytes;
}

std::optional<std::uint64_t> Disk::free_bytes() const {
    return impl_->state.free_bytes;
}

bool Disk::exists(const std::wstring& path) const {
    return look(*impl_, path).error == 0;
}

bool Disk::is_folder(const std::wstring& path) const {
    const Place place = look(*impl_, path);
    return place.error == 0 && impl_->state.node(place.node).is_folder();
}

std::string Disk::read(const std::wstring& path) const {
    const Node& node = require(*impl_, path);
    if (node.is_folder()) throw std::out_of_range("a folder stands at this path");
    return node.live.bytes->text();
}

std::shared_ptr<const Bytes> Disk::contents(const std::wstring& path) const {
    const Node& node = require(*impl_, path);
    if (node.is_folder()) throw std::out_of_range("a folder stands at this path");
    return node.live.bytes.share();
}

std::uint32_t Disk::attributes(const std::wstring& path) const {
    return require(*impl_, path).attributes;
}

std::uint64_t Disk::write_time(const std::wstring& path) const {
    return require(*impl_, path).live.write_time;
}

std::vector<std::wstring> Disk::tree(const std::wstring& folder) const {
    std::vector<std::wstring> found;
    const Node& node = require(*impl_, folder);
    const std::wstring base = folder.back() == L'\\' ? folder.substr(0, folder.size() - 1) : folder;
    list_beneath(*impl_, node.id, base, found);
    std::sort(found.begin(), found.end());
    return found;
}

std::uint64_t Disk::fingerprint(const std::wstring& folder) const {
    const Place place = look(*impl_, folder);
    return place.error != 0 ? 0 : impl_->state.tree_hash(place.node);
}

int Disk::hold(const std::wstring& path, std::uint32_t access, std::uint32_t share) {
    const NodeId node = require(*impl_, path).id;
    if (impl_->conflicts(node, access_bits(access), share)) throw std::logic_error("somebody has it open");
    return impl_->hold(node, access_bits(access), share);
}

void Disk::release(int hold) {
    impl_->release(hold);
}

std::size_t Disk::open_handles() const {
    return impl_->open_count();
}

void Disk::settle() {
    impl_->state.settle();
}

std::size_t Disk::pending() const {
    return impl_->state.pending();
}

std::vector<Loss> Disk::losses(LossModel model) const {
    return impl_->state.losses(model);
}

Loss Disk::nothing_lost() const {
    return {std::vector<bool>(pending(), true), Loss::Data::kept};
}

Loss Disk::all_lost() const {
    return {std::vector<bool>(pending(), false), Loss::Data::lost};
}

void Disk::lose_power(const Loss& loss) {
    impl_->state = impl_->state.after(loss);
    impl_->forget_handles();
}

std::shared_ptr<const Disk::State> Disk::snapshot() const {
    return std::make_shared<State>(impl_->state);
}

std::shared_ptr<const Disk::State> Disk::snapshot_after(const Loss& loss) const {
    return std::make_shared<State>(impl_->state.after(loss));
}

void Disk::restore(const std::shared_ptr<const State>& snapshot) {
    impl_->state = *snapshot;
    impl_->forget_handles();
}

bool Disk::changed_since(const std::shared_ptr<const State>& snapshot) const {
    return !impl_->state.shares_all_with(*snapshot);
}

std::uint64_t Disk::hash(const State& state) {
    return state.hash();
}

}  // namespace winsim
