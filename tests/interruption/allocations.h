// The program's memory: the helper's own allocations are counted, and one of them can be made to fail.
#pragma once

#include <cstdint>

#include "winsim/gate.h"

namespace interruption {

// While it stands, on this thread: allocations that the helper makes between its platform calls are counted (not the
// simulated machine's, which happen inside of them), and number `fail_at` throws std::bad_alloc; 0: none does. The
// count begins with the first call of the run that is under way when `begin` is called, and holds when `end` is.
class AllocationCount {
 public:
    AllocationCount(const winsim::Gate& gate, std::uint64_t fail_at);
    ~AllocationCount();
    AllocationCount(const AllocationCount&) = delete;
    AllocationCount& operator=(const AllocationCount&) = delete;

    void begin() { counting_ = true; }
    void end() { counting_ = false; }
    void note();  // by operator new
    std::uint64_t counted() const { return counted_; }

 private:
    const winsim::Gate& gate_;
    std::uint64_t fail_at_;
    std::uint64_t counted_ = 0;
    bool counting_ = false;
};

}  // namespace interruption
