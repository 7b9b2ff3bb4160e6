// Open handles of the helper and holds of others: sharing, and deletions that wait for them.
#include <algorithm>

#include "winsim/disk_impl.h"

namespace winsim {

// An open that asks for attributes only takes no part in sharing.
bool Disk::Impl::conflicts(NodeId node, std::uint32_t access, std::uint32_t share) const {
    if (access == 0) return false;
    return std::any_of(opens_.begin(), opens_.end(), [&](const Open& open) {
        return open.node == node && ((open.access & ~share) != 0 || (open.access != 0 && (access & ~open.share) != 0));
    });
}

bool Disk::Impl::is_open_beneath(NodeId folder) const {
    return std::any_of(opens_.begin(), opens_.end(),
                       [&](const Open& open) { return open.node != folder && state.is_within(open.node, folder); });
}

Open& Disk::Impl::open(NodeId node, std::uint32_t access, std::uint32_t share) {
    Open& open = opens_.emplace_back();
    open.number = next_handle_;
    open.node = node;
    open.access = access;
    open.share = share;
    next_handle_ += 4;
    return open;
}

int Disk::Impl::hold(NodeId node, std::uint32_t access, std::uint32_t share) {
    Open& open = opens_.emplace_back();
    open.number = static_cast<std::uintptr_t>(next_hold_);
    open.hold = true;
    open.node = node;
    open.access = access;
    open.share = share;
    return next_hold_++;
}

Open* Disk::Impl::find(const void* handle) {
    const auto number = reinterpret_cast<std::uintptr_t>(handle);
    for (Open& open : opens_) {
        if (!open.hold && open.number == number) return &open;
    }
    return nullptr;
}

bool Disk::Impl::close(const void* handle) {
    const Open* open = find(handle);
    if (open == nullptr) return false;
    close_at(static_cast<std::size_t>(open - opens_.data()));
    return true;
}

void Disk::Impl::release(int hold) {
    for (std::size_t i = 0; i < opens_.size(); ++i) {
        if (!opens_[i].hold || opens_[i].number != static_cast<std::uintptr_t>(hold)) continue;
        close_at(i);
        return;
    }
}

void Disk::Impl::close_at(std::size_t index) {
    const NodeId node = opens_[index].node;
    opens_.erase(opens_.begin() + static_cast<std::ptrdiff_t>(index));
    if (!is_doomed(node) || is_open(node)) return;
    std::erase(doomed_, node);
    remove_name(node);
}

void Disk::Impl::close_all() {
    for (std::size_t i = opens_.size(); i > 0; --i) {
        if (!opens_[i - 1].hold) close_at(i - 1);
    }
    next_handle_ = kFirstFileHandle;
}

std::size_t Disk::Impl::open_count() const {
    return static_cast<std::size_t>(
        std::count_if(opens_.begin(), opens_.end(), [](const Open& open) { return !open.hold; }));
}

void Disk::Impl::forget_handles() {
    opens_.clear();
    doomed_.clear();
    next_handle_ = kFirstFileHandle;
}

bool Disk::Impl::is_open(NodeId node) const {
    return std::any_of(opens_.begin(), opens_.end(), [node](const Open& open) { return open.node == node; });
}

void Disk::Impl::remove_when_closed(NodeId node) {
    if (is_open(node)) {
        doomed_.push_back(node);
    } else {
        remove_name(node);
    }
}

bool Disk::Impl::is_doomed(NodeId node) const {
    return std::find(doomed_.begin(), doomed_.end(), node) != doomed_.end();
}

bool close_disk_handle(Disk& disk, const void* handle) {
    const Open* open = disk.impl().find(handle);
    return open != nullptr && open->search == nullptr && disk.impl().close(handle);
}

void disk_close_all(Disk& disk) {
    disk.impl().close_all();
}

}  // namespace winsim
