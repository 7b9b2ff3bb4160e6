// For tests that call one subsystem directly instead of running the helper.
#pragma once

#include <climits>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/faults.h"
#include "tests/support/machine.h"

namespace support {

inline constexpr int kAlways = INT_MAX;  // for Faults::add

// A machine on which the test itself makes the platform calls; it keeps a trace of them.
class DirectMachine : public Machine {
 public:
    DirectMachine() { world.gate.keep_trace(true); }

    // The traced calls of that name, as "subject -> result".
    std::vector<std::string> calls(std::string_view name) const {
        std::vector<std::string> found;
        for (const std::string& line : world.gate.trace()) {
            const std::size_t begin = line.find(' ') + 1;
            const std::size_t end = line.find(' ', begin);
            if (line.substr(begin, end - begin) == name) found.push_back(line.substr(end + 1));
        }
        return found;
    }

    // CNG objects that were opened and not closed, as far as the trace goes.
    std::size_t open_cng_objects() const {
        std::size_t open = 0;
        for (const char* call : {"BCryptOpenAlgorithmProvider", "BCryptCreateHash", "BCryptImportKeyPair"}) {
            for (const std::string& line : calls(call)) open += line.ends_with("-> 0") ? 1 : 0;
        }
        for (const char* call : {"BCryptCloseAlgorithmProvider", "BCryptDestroyHash", "BCryptDestroyKey"}) {
            open -= calls(call).size();
        }
        return open;
    }

    // How `action` ends: see support::refusal.
    template <class Action>
    std::wstring refusal(Action action) {
        return support::refusal(world, action);
    }

 private:
    winsim::World::Guard guard_{world};
};

}  // namespace support
