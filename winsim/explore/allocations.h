// The program's memory: its own allocations are counted, and one of them can be made to fail.
#pragma once

#include <cstdint>

#include "winsim/gate.h"

namespace winsim::explore {

// While it stands, on this thread: allocations that the program makes between its platform calls are counted (not the
// simulated machine's, which happen inside of them), and number `fail_at` throws std::bad_alloc; 0: none does.
// Counts only in a program that is linked with operator_new.cpp; elsewhere there are none.
class AllocationCount {
 public:
    AllocationCount(const Gate& gate, std::uint64_t fail_at);
    ~AllocationCount();
    AllocationCount(const AllocationCount&) = delete;
    AllocationCount& operator=(const AllocationCount&) = delete;

    void begin() { counting_ = true; }
    void pause() { counting_ = false; }
    void restart();  // from 0, paused
    std::uint64_t counted() const { return counted_; }

    static void note();  // by operator new; throws std::bad_alloc

 private:
    const Gate& gate_;
    std::uint64_t fail_at_;
    std::uint64_t counted_ = 0;
    bool counting_ = false;
};

}  // namespace winsim::explore
