// A value that copies share until one of them edits it.
#pragma once

#include <atomic>
#include <memory>
#include <utility>

namespace winsim {

template <class Value>
class CopyOnWrite {
 public:
    CopyOnWrite() : value_(std::make_shared<Value>()) {}
    explicit CopyOnWrite(Value value) : value_(std::make_shared<Value>(std::move(value))) {}
    const Value& operator*() const { return *value_; }
    const Value* operator->() const { return value_.get(); }
    Value& edit() {
        if (value_.use_count() != 1) value_ = std::make_shared<Value>(*value_);
        std::atomic_thread_fence(std::memory_order_acquire);
        return *value_;
    }
    bool same(const CopyOnWrite& other) const { return value_ == other.value_; }
    std::shared_ptr<const Value> share() const { return value_; }

 private:
    std::shared_ptr<Value> value_;
};

}  // namespace winsim
