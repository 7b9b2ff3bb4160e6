// The open handles of one kind of object: few at a time, numbers never used twice while the program runs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace winsim {

template <class Object>
class HandleTable {
 public:
    explicit HandleTable(std::uintptr_t first) : first_(first), next_(first) {}

    void* add(Object object) {
        entries_.push_back({next_, std::move(object)});
        next_ += 4;
        return reinterpret_cast<void*>(entries_.back().number);
    }

    // Null if no such handle is open. The pointer is good until the next add or remove.
    Object* find(const void* handle) {
        for (Entry& entry : entries_) {
            if (entry.number == reinterpret_cast<std::uintptr_t>(handle)) return &entry.object;
        }
        return nullptr;
    }

    void remove(const void* handle) {
        for (std::size_t i = 0; i < entries_.size(); ++i) {
            if (entries_[i].number != reinterpret_cast<std::uintptr_t>(handle)) continue;
            entries_.erase(entries_.begin() + static_cast<std::ptrdiff_t>(i));
            return;
        }
    }

    template <class Predicate>
    bool any(Predicate predicate) const {
        for (const Entry& entry : entries_) {
            if (predicate(entry.object)) return true;
        }
        return false;
    }

    std::size_t size() const { return entries_.size(); }

    // For the next program: nothing is open, numbers begin anew.
    void clear() {
        entries_.clear();
        next_ = first_;
    }

 private:
    struct Entry {
        std::uintptr_t number;
        Object object;
    };

    std::uintptr_t first_;
    std::uintptr_t next_;
    std::vector<Entry> entries_;
};

}  // namespace winsim
