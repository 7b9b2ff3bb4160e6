// The one gate that every simulated platform call passes: it counts, traces, fails and cuts.
//
// A call has moments at which a test may act: `before` its effect, `inside` it (only calls of more than one step,
// numbered from 1), and `after` it. At each moment the watchers run; then, if a cut is due there, the machine loses
// power: PowerCut leaves the call. From then on the machine is dead. Each further call of the dead process throws
// PowerCut again, or, while an exception is already unwinding the stack, returns its failure value; none of them has an
// effect.
//
// The releasing calls (CloseHandle, FindClose, ReleaseMutex, LocalFree, the closing calls of CNG and WinHTTP) run in
// destructors, so they never throw and never fail by a fault. A cut that is due at one of them makes the machine dead
// silently; the next call that may throw does. GetLastError and SetLastError pass no gate.
//
// Calls made while another call is under way (by a watcher, by an action of the clock) pass unseen: they aren't
// counted, traced, failed or cut.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace winsim {

// Leaves a platform call when the power is cut. Deliberately not a std::exception.
struct PowerCut {};

// Leaves a platform call that the helper must never make, with its reason; World::run reports it as an outcome.
struct ForbiddenCall {
    std::string reason;
};

enum class Moment : std::uint8_t { before, inside, after };

struct Call {
    std::uint64_t number = 0;   // 1 for the first call since the gate was reset
    std::string_view name;      // "ReplaceFileW"
    std::wstring_view subject;  // path, URL or name it acts on (the target of a rename); may be empty
    std::uint32_t step = 0;     // the step at Moment::inside, else 0
};

// A fault code beside the platform's numbers: the transfer succeeds with half of its bytes, rounded down (ReadFile,
// WriteFile, WinHttpReadData). Calls that transfer nothing take no notice of it.
inline constexpr std::uint32_t kShortTransfer = 0xFFFF0001U;

class Gate {
 public:
    // Asked once before each call that can fail: 0 lets it run, any other value makes it fail with that number as last
    // error (as the status for CNG, as the result for SHGetFolderPathW). A failed call has no effect on the machine but
    // the one that Windows documents for that number (ReplaceFileW with 1177).
    using FaultRule = std::function<std::uint32_t(const Call&)>;
    using Watcher = std::function<void(const Call&, Moment)>;

    void set_fault_rule(FaultRule rule);
    // Watchers run at each moment, in the order of adding. They may call the platform, look and act; the last error is
    // put back behind them. They add no watcher and clear none.
    void add_watcher(Watcher watcher);
    void clear_rules();  // no faults, no watchers, no cut

    // Cuts the power, once, at that moment of call `number`; with `step` for Moment::inside. The last one set holds.
    void cut_at(std::uint64_t number, Moment moment, std::uint32_t step = 0);
    // For watchers: the cut happens when all watchers of this moment have run. Elsewhere: at the next moment.
    void cut_now();

    void keep_trace(bool keep);
    // "117 ReplaceFileW C:\\Game\\init.lua -> 0 (32)": the result, and the last error if the call failed; "cut before",
    // "cut inside 1" or "cut after" stand in a line of their own for the call at which the power went. Where a call has
    // described itself, that stands in front of the arrow: "CreateFileW C:\\x (access 0x80000000, ...) -> 0x10004".
    const std::vector<std::string>& trace() const { return trace_; }
    std::uint64_t calls() const { return calls_; }
    bool dead() const { return dead_; }
    bool in_call() const { return depth_ != 0; }  // a call is under way
    // The reason of the first forbidden call since the reset, whether or not somebody swallowed the exception.
    const std::string& forbidden() const { return forbidden_; }
    void reset();  // counts from 1 again, forgets the trace, the death and the forbidden call; keeps the rules

    // For the bodies of calls (how a call is written stands in winsim/call.h).
    std::uint32_t last_error = 0;     // what GetLastError gives
    void inside(std::uint32_t step);  // a moment between two steps; throws PowerCut if the power goes there
    // What the call was asked for beside its subject. Only worth the words if somebody wants them.
    bool wants_description() const { return tracing_ && depth_ == 1; }
    void describe(std::string arguments) { described_ = std::move(arguments); }
    [[noreturn]] void forbid(std::string reason);  // throws ForbiddenCall; every later call does the same

 private:
    friend class Pass;

    [[noreturn]] void refuse() const;  // a call of a dead machine, or behind a forbidden one
    void moment(const Call& call, Moment moment);
    bool cut_due(const Call& call, Moment moment);
    void write_trace(const Call& call, const std::string& outcome);

    std::uint64_t calls_ = 0;
    std::uint32_t depth_ = 0;  // calls under way; above 1 for those that pass unseen
    bool stopped_ = false;     // dead_ or forbidden_ set: asked once a call
    bool attended_ = false;    // watchers, a cut or a trace are wanted: the moments have something to do
    bool dead_ = false;
    bool tracing_ = false;
    bool cut_now_ = false;
    Moment cut_moment_ = Moment::before;
    std::uint32_t cut_step_ = 0;
    std::uint64_t cut_number_ = 0;  // 0: no cut is due
    Call* current_ = nullptr;
    FaultRule fault_rule_;
    std::vector<Watcher> watchers_;
    std::vector<std::string> trace_;
    std::string described_;  // by the call under way
    std::string forbidden_;

    void refresh() { attended_ = !watchers_.empty() || cut_number_ != 0 || cut_now_ || tracing_; }
};

}  // namespace winsim
