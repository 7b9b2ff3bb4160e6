// How the body of a simulated platform call is written.
//
//     BOOL WINAPI DeleteFileW(LPCWSTR path) {
//         return winsim::gated("DeleteFileW", path, FALSE, [&](winsim::World& world) {
//             if (...) return winsim::fail(world, ERROR_FILE_NOT_FOUND, FALSE);
//             ...
//             return TRUE;
//         });
//     }
//
// The body runs only if the machine is alive, no fault was injected and the power wasn't cut before the call. It sets
// the last error itself when it fails (`fail`); a success leaves the last error alone unless the body sets it.
// A call of several steps marks the moment between two of them with `world.gate.inside(step)`, which throws PowerCut if
// the power goes there: everything before it has happened, nothing behind it.
// The last error is `world.gate.last_error`: GetLastError and SetLastError are plain reads and writes of it.
// A subject is only looked at during the call, so a view of the caller's text will do.
#pragma once

#include <cstdint>
#include <exception>
#include <string_view>
#include <type_traits>

#include "winsim/trace_text.h"
#include "winsim/world.h"

namespace winsim {

// One call on its way through the gate. The wrappers below use it; bodies don't.
class Pass {
 public:
    Pass(Gate& gate, const char* name, std::wstring_view subject) : gate_(gate), seen_(gate.depth_ == 0) {
        ++gate_.depth_;
        if (!seen_) return;
        call_.name = name;
        call_.subject = subject;
        gate_.current_ = &call_;
    }
    ~Pass() {
        --gate_.depth_;
        if (seen_) gate_.current_ = nullptr;
    }
    Pass(const Pass&) = delete;
    Pass& operator=(const Pass&) = delete;

    // Throws PowerCut or ForbiddenCall if the call may not run.
    void begin() {
        if (!seen_) return;
        if (gate_.stopped_) gate_.refuse();
        call_.number = ++gate_.calls_;
        if (gate_.attended_) gate_.moment(call_, Moment::before);
    }
    std::uint32_t fault() { return seen_ && gate_.fault_rule_ ? gate_.fault_rule_(call_) : 0; }

    template <class Result>
    void end(Result result, bool failed) {
        if (!seen_ || !gate_.attended_) return;
        if (gate_.tracing_) gate_.write_trace(call_, outcome(result, failed));
        gate_.moment(call_, Moment::after);
    }

 private:
    template <class Result>
    std::string outcome(Result result, bool failed) const;

    Gate& gate_;
    Call call_;
    bool seen_;
};

template <class Result>
std::string Pass::outcome(Result result, bool failed) const {
    std::string text;
    if constexpr (std::is_pointer_v<Result>) {
        text = outcome_text(reinterpret_cast<std::intptr_t>(result), true);
    } else {
        text = outcome_text(static_cast<std::int64_t>(result), std::is_unsigned_v<Result>);
    }
    if (failed) text += " (" + std::to_string(gate_.last_error) + ")";
    return text;
}

// Sets the last error and gives the call's failure value.
template <class Result>
Result fail(World& world, std::uint32_t error, Result failure) {
    world.gate.last_error = error;
    return failure;
}

// A call whose body deals with the fault itself: `body(World&, std::uint32_t fault)`, fault 0 for none.
template <class Result, class Body>
Result gated_with_fault(const char* name, std::wstring_view subject, Result failure, Body body) {
    World& world = World::current();
    try {
        Pass pass(world.gate, name, subject);
        pass.begin();
        const Result result = body(world, pass.fault());
        pass.end(result, result == failure);
        return result;
    } catch (const PowerCut&) {
        if (std::uncaught_exceptions() == 0) throw;
    } catch (const ForbiddenCall&) {
        if (std::uncaught_exceptions() == 0) throw;
    }
    return failure;
}

// The usual call: `body(World&)`. An injected fault becomes the last error, and the call returns `failure`.
template <class Result, class Body>
Result gated(const char* name, std::wstring_view subject, Result failure, Body body) {
    return gated_with_fault(name, subject, failure, [&](World& world, std::uint32_t fault) -> Result {
        if (fault != 0 && fault != kShortTransfer) return fail(world, fault, failure);
        return body(world);
    });
}

// The value that stands for `fault` in a call that returns an NTSTATUS or an HRESULT: always negative.
constexpr std::int32_t failure_status(std::uint32_t fault) {
    return static_cast<std::int32_t>(fault | 0x80000000U);
}

// A call that returns an NTSTATUS or an HRESULT (negative: failed) and leaves the last error alone. On a dead machine
// that can't throw it returns 0xC0000001.
template <class Body>
std::int32_t gated_status(const char* name, std::wstring_view subject, Body body) {
    return gated_with_fault(name, subject, failure_status(0xC0000001U),
                            [&](World& world, std::uint32_t fault) -> std::int32_t {
                                if (fault != 0 && fault != kShortTransfer) return failure_status(fault);
                                return body(world);
                            });
}

// A releasing call: counted and watched, never failed, never throws. On a dead machine it does nothing and gives
// `failure`.
template <class Result, class Body>
Result gated_release(const char* name, Result failure, Body body) noexcept {
    World& world = World::current();
    try {
        Pass pass(world.gate, name, {});
        pass.begin();
        const Result result = body(world);
        pass.end(result, result == failure);
        return result;
    } catch (const PowerCut&) {
        return failure;
    } catch (const ForbiddenCall&) {
        return failure;
    }
}

}  // namespace winsim
