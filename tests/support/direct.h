// For tests that call one subsystem directly instead of running the helper.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tests/support/faults.h"
#include "tests/support/machine.h"

namespace support {

// A machine on which the test itself makes the platform calls; it keeps a trace of them.
class DirectMachine : public Machine {
 public:
    DirectMachine() { world.gate.keep_trace(true); }

    std::vector<std::string> calls(std::string_view name) const { return winsim::traced_calls(world.gate, name); }
    std::size_t open_cng_objects() const { return winsim::open_cng_objects(world.gate); }

    // How `action` ends: see support::refusal.
    template <class Action>
    std::wstring refusal(Action action) {
        return support::refusal(world, action);
    }

 private:
    winsim::World::Guard guard_{world};
};

}  // namespace support
