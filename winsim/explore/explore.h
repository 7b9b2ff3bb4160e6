// Interrupts whatever runs on a simulated Windows: everywhere, in every way, and asks for each end whether it is right.
//
// run          what happens on a machine from its switching on until the last process has ended or the power has gone
// history      runs one after the other, each on the disk that the one before has left
// crash point  a moment of one call: before its effect, behind one of its steps, after it
// loss         what a power cut takes of what was not durable (winsim/loss.h)
// fault        a call that fails, or an allocation
// disturbance  what happens to one run: a cut (a crash point with a loss), a fault, or another program's interference
// schedule     one disturbance for each run of a history; a scenario's name with a schedule behind it is one case
// scenario     where a history begins, what runs, and what must be true in the end
//
// A scenario's functions are called on several threads at once. All that a sweep does depends on the scenario alone, so
// that its counts and violations are the same each time.
//
//     Scenario scenario{"write", disk, [](const Snapshot& found, int number) {
//                           return std::make_unique<DirectRun>(found, number, [] { write(); }); },
//                       [](const Snapshot& left, int) { return is_old_or_new(left) ? "" : "torn"; }, nullptr};
//     Report report;
//     sweep_cuts({scenario}, {}, report);
//     EXPECT_EQ(report.violations(), "");
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "winsim/explore/disturbance.h"
#include "winsim/explore/report.h"
#include "winsim/explore/run.h"

namespace winsim::explore {

using Snapshot = std::shared_ptr<const Disk::State>;

struct Scenario {
    std::string name;  // without ":"
    Snapshot disk;     // at the beginning of run 1
    // Run `number` of a history, on a machine that has just been switched on with `disk` in it.
    std::function<std::unique_ptr<Run>(const Snapshot& disk, int number)> start;
    // What is wrong with the disk that a cut in run `number` has left; empty: nothing.
    std::function<std::string(const Snapshot& disk, int number)> wrong_after_cut;
    // What is wrong when a run has ended that met a fault or an interference. `came`: there was something to disturb.
    std::function<std::string(Run& run, const Disturbance& disturbance, bool came)> wrong_after_run;
};

struct CutDepth {
    LossModel losses = LossModel::journal;
    // For the disk behind a first cut: of the disks that cuts of the second run may leave, one in so many is judged, in
    // the order in which they come; 0: none, and the second run is not looked at. Null: 0 everywhere.
    std::function<std::uint64_t(const Snapshot& disk)> one_in_second_cuts;
};

// Cuts the power at every moment of every call of each scenario's first run, with every loss; then, of what each of
// these cuts leaves and of the second run on it, the same. Disks that are alike have the same future, so only the first
// cut of those that leave one disk is judged, and followed.
// Counts: "cuts: crash points of first runs", "cuts: first cuts with each loss", "cuts: distinct disks behind them",
// "cuts: crash points of second runs", "cuts: second cuts with each loss" (those two only where an end was judged),
// "cases" (of both levels).
void sweep_cuts(const std::vector<Scenario>& scenarios, const CutDepth& depth, Report& report);

// Runs the scenario's first run once with each disturbance, and judges it.
void sweep(const Scenario& scenario, const std::vector<Disturbance>& disturbances, Report& report);

// Runs one history and prints each run's calls and, after a cut, the names beneath C: that are left. What is wrong in
// the end. Throws std::invalid_argument if a disturbance never comes.
std::string replay(const Scenario& scenario, const Schedule& schedule);

}  // namespace winsim::explore
