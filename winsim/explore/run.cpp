#include "winsim/explore/run.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "winsim/explore/allocations.h"
#include "winsim/world_impl.h"

namespace winsim::explore {
namespace {

void use_own_faults(Run& run) {
    run.world().gate.set_fault_rule([&run](const Call& call) { return run.own_fault(call); });
}

// One for each kind of disturbance: runs with it, and tells whether it came.
struct Disturber {
    Run& run;

    bool operator()(const Cut& cut) const {
        if (!run_to(run, cut.at)) return false;
        run.world().lose_power(cut.loss);
        return true;
    }

    bool operator()(const FailedCall& failed) const {
        bool came = false;
        run.world().gate.set_fault_rule([this, &failed, &came](const Call& call) {
            if (call.number != failed.call || run.process() != failed.process) return run.own_fault(call);
            came = true;
            return failed.error;
        });
        run.run();
        run.world().gate.set_fault_rule(nullptr);
        return came;
    }

    bool operator()(const FailedAllocation& failed) const {
        AllocationCount count(run.world().gate, failed.number);
        use_own_faults(run);
        run.on_begin([&count](char) { count.pause(); });
        run.world().gate.add_watcher([this, &failed, &count](const Call&, Moment) {
            if (run.process() == failed.process) count.begin();
        });
        run.run();
        count.pause();
        run.world().gate.clear_rules();
        return count.counted() >= failed.number;
    }

    bool operator()(const Interference& interference) const {
        use_own_faults(run);
        bool done = interference.call == 0 && run.interfere(interference.action);
        bool due = interference.call != 0;
        run.world().gate.add_watcher([this, &interference, &done, &due](const Call& call, Moment moment) {
            if (!due || moment != Moment::before || call.number != interference.call) return;
            if (run.process() != interference.process) return;
            due = false;
            done = run.interfere(interference.action);
        });
        run.run();
        run.world().gate.clear_rules();
        return done;
    }
};

// Prints the trace of each process when it has come to its end, since the next one forgets it.
void print_calls(Run& run, int number, char process) {
    for (const std::string& line : run.world().gate.trace()) {
        std::printf("run %d %c %s\n", number, process, line.c_str());
    }
}

}  // namespace

std::uint32_t Run::own_fault(const Call& /*call*/) {
    return 0;
}

bool Run::interfere(const std::string& /*action*/) {
    return false;
}

void Run::begin(char process) {
    process_ = process;
    for (const auto& action : on_begin_) action(process);
}

DirectRun::DirectRun(const std::shared_ptr<const Disk::State>& disk, int number, std::function<void()> action)
    : action_(std::move(action)) {
    world_.disk.restore(disk);
    world_.impl().random_counter = static_cast<std::uint64_t>(number) << 32;
}

void DirectRun::run() {
    const World::Guard guard(world_);
    world_.gate.reset();
    begin('p');
    try {
        action_();
    } catch (const PowerCut&) {  // the gate is dead
    }
}

const RecordedCall* Recording::find(char process, std::uint64_t number) const {
    const auto found = std::ranges::find_if(
        calls, [&](const RecordedCall& call) { return call.process == process && call.number == number; });
    return found == calls.end() ? nullptr : &*found;
}

Recording record(Run& run) {
    Recording recording;
    AllocationCount count(run.world().gate, 0);
    use_own_faults(run);
    run.on_begin([&count](char) { count.restart(); });
    run.world().gate.add_watcher([&](const Call& call, Moment moment) {
        count.begin();
        recording.allocations[run.process()] = count.counted();
        if (moment != Moment::before) return;
        recording.calls.push_back({run.process(), call.number, std::string(call.name), std::wstring(call.subject)});
    });
    run.run();
    run.world().gate.clear_rules();
    return recording;
}

bool run_to(Run& run, const CrashPoint& point) {
    use_own_faults(run);
    run.on_begin([&run, point](char process) {
        if (process == point.process) run.world().gate.cut_at(point.call, point.moment, point.step);
    });
    run.run();
    run.world().gate.set_fault_rule(nullptr);
    return run.power_cut();
}

bool run_with(Run& run, const Disturbance& disturbance) {
    return std::visit(Disturber{run}, disturbance);
}

void run_traced(Run& run, int number, const std::function<void()>& go) {
    run.world().gate.keep_trace(true);
    char last = 0;
    run.on_begin([&](char process) {
        if (last != 0) print_calls(run, number, last);
        last = process;
    });
    go();
    print_calls(run, number, last);
}

}  // namespace winsim::explore
