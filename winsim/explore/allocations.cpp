#include "winsim/explore/allocations.h"

#include <new>

namespace winsim::explore {
namespace {

thread_local AllocationCount* active = nullptr;

}  // namespace

AllocationCount::AllocationCount(const Gate& gate, std::uint64_t fail_at) : gate_(gate), fail_at_(fail_at) {
    active = this;
}

AllocationCount::~AllocationCount() {
    active = nullptr;
}

void AllocationCount::restart() {
    counted_ = 0;
    counting_ = false;
}

void AllocationCount::note() {
    if (active == nullptr || !active->counting_ || active->gate_.in_call()) return;
    if (++active->counted_ == active->fail_at_) throw std::bad_alloc();
}

}  // namespace winsim::explore
