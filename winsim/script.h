// What a test scripts on a world: calls that fail, something that happens at a call; and what it reads in the trace.
#pragma once

#include <climits>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "winsim/world.h"

namespace winsim {

inline constexpr int kAlways = INT_MAX;  // for FaultScript::add

// Takes over the gate's fault rule until it is destroyed. Keeps the last errors from before the faults.
class FaultScript {
 public:
    explicit FaultScript(World& world);
    ~FaultScript();
    FaultScript(const FaultScript&) = delete;
    FaultScript& operator=(const FaultScript&) = delete;

    // Calls named `call` on a subject that contains `part`: `skip` of them run, then `times` of them fail with `error`.
    // Of several that fit one call, the one that was added first makes it fail.
    void add(std::string call, std::wstring part, std::uint32_t error, int times = 1, int skip = 0);
    bool happened() const { return !errors_before_.empty(); }
    // The last error from before a fault that has happened, 0 for the latest; std::out_of_range for none.
    std::uint32_t error_before(std::size_t back = 0) const;

 private:
    struct Fault {
        std::string call;
        std::wstring part;
        std::uint32_t error;
        int times;
        int skip;
    };

    std::uint32_t ask(const Call& call);

    World& world_;
    std::vector<Fault> faults_;
    std::vector<std::uint32_t> errors_before_;
};

// Does `action` once, at `when` of the first call of that name on a subject that ends in `part`.
void at_call(World& world, const char* name, std::wstring part, Moment when, std::function<void()> action);

// Somebody opens `path` for reading, if it is to be had, and closes it after so many milliseconds.
void hold_for(World& world, const std::wstring& path, std::uint32_t share, std::uint64_t ms);

// From now on somebody does that to each file that comes to a new name (by ReplaceFileW, MoveFileExW or CopyFileW), and
// to each new folder, that `wants` says yes to; asked once for each.
void scan_new_names(World& world, std::uint32_t share, std::uint64_t ms,
                    std::function<bool(std::wstring_view path)> wants);

// Turns the lowest bit of a file's first byte over. False if there is no such file, or nothing in it.
bool flip_bit(Disk& disk, const std::wstring& path);

// The traced calls of that name, as "subject -> result".
std::vector<std::string> traced_calls(const Gate& gate, std::string_view name);

// CNG objects that were opened and not closed, as far as the trace goes.
std::size_t open_cng_objects(const Gate& gate);

}  // namespace winsim
