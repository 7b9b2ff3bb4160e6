// One run on a world, watched and disturbed.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "winsim/explore/disturbance.h"
#include "winsim/world.h"

namespace winsim::explore {

// Processes that run one after the other in a world of their own, until the last has ended or the power has gone.
// Whoever knows the processes derives from it. Runs once.
class Run {
 public:
    Run() = default;
    virtual ~Run() = default;
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;

    virtual World& world() = 0;
    // Calls `begin` in front of each process. Behind a process that ended by a cut, no other runs.
    virtual void run() = 0;
    // The fault that is part of the run itself, as a gate's fault rule gives it. Asked for every call of a run that
    // `record` or `run_with` runs.
    virtual std::uint32_t own_fault(const Call& call);
    // Somebody else acts, now or from now on; false if there is nothing to do it to.
    virtual bool interfere(const std::string& action);

    char process() const { return process_; }  // that is under way, or was last
    bool power_cut() { return world().gate.dead(); }
    void on_begin(std::function<void(char process)> action) { on_begin_.push_back(std::move(action)); }

 protected:
    void begin(char process);

 private:
    char process_ = 0;
    std::vector<std::function<void(char)>> on_begin_;
};

// A run of one process, 'p', that is a function which makes platform calls directly. Whatever the function throws but
// the cut leaves `run`.
class DirectRun : public Run {
 public:
    // Run `number` of a history, on a machine that has just been switched on with `disk` in it. Each number has random
    // bytes of its own.
    DirectRun(const std::shared_ptr<const Disk::State>& disk, int number, std::function<void()> action);

    World& world() override { return world_; }
    void run() override;

 private:
    World world_;
    std::function<void()> action_;
};

// An undisturbed run: its calls, and the program's allocations in each process up to its last call.
struct RecordedCall {
    char process = 'p';
    std::uint64_t number = 0;
    std::string name;
    std::wstring subject;
};
struct Recording {
    std::vector<RecordedCall> calls;
    std::map<char, std::uint64_t> allocations;

    const RecordedCall* find(char process, std::uint64_t number) const;  // null: no such call
};
Recording record(Run& run);

// Runs until the power goes at `point`; what is pending on the disk then still is. False: the run ended by itself.
bool run_to(Run& run, const CrashPoint& point);

// Runs with the disturbance. False if it never came, or found nothing to disturb. After a cut the world has lost its
// power, with what the cut's loss says.
bool run_with(Run& run, const Disturbance& disturbance);

// Calls `go`, which runs the run, and prints the calls of each process to stdout: "run 1 c 117 DeleteFileW C:\\x -> 1".
void run_traced(Run& run, int number, const std::function<void()>& go);

}  // namespace winsim::explore
