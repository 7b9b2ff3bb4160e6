#include "tests/interruption/allocations.h"

#include <cstdlib>
#include <new>

namespace interruption {
namespace {

thread_local AllocationCount* active = nullptr;

}  // namespace

AllocationCount::AllocationCount(const winsim::Gate& gate, std::uint64_t fail_at) : gate_(gate), fail_at_(fail_at) {
    active = this;
}

AllocationCount::~AllocationCount() {
    active = nullptr;
}

void AllocationCount::note() {
    if (!counting_ || gate_.in_call()) return;
    if (++counted_ == fail_at_) throw std::bad_alloc();
}

static void* allocate(std::size_t size) {
    if (active != nullptr) active->note();
    void* const memory = std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

}  // namespace interruption

void* operator new(std::size_t size) {
    return interruption::allocate(size);
}
void* operator new[](std::size_t size) {
    return interruption::allocate(size);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}
