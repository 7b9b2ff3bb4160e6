#include "tests/interruption/scenarios.h"

#include <stdexcept>

#include "tests/interruption/exchanges.h"
#include "tests/interruption/faults.h"
#include "tests/interruption/neighbours.h"
#include "winsim/explore/faults.h"

namespace interruption {
namespace {

using winsim::explore::Disturbance;
using winsim::explore::Interference;
using winsim::explore::Run;

constexpr std::uint64_t kLastAllocations = 500;
constexpr std::uint64_t kAllAllocations = ~0ULL >> 1;

void append(std::vector<Disturbance>& all, std::vector<Disturbance> more) {
    all.insert(all.end(), more.begin(), more.end());
}

}  // namespace

winsim::explore::Scenario Exploration::scenario(const std::string& story) {
    const auto start = [this, story](const Snapshot& disk, int number) -> std::unique_ptr<Run> {
        std::unique_ptr<player::UpdateRun> run = recovery_.start(disk, number);
        if (number == kFirstRun) arrange(story, static_cast<HelperRun&>(*run));
        if (exchanges_) run->expect_exchange();
        return run;
    };
    const auto wrong_after_cut = [this](const Snapshot& disk, int number) {
        return recovery_.wrong_after_cut(disk, number + 1);
    };
    const auto wrong_after_run = [this, story](Run& run, const Disturbance& disturbance, bool came) {
        auto& helper = static_cast<HelperRun&>(run);
        if (helper.expects_exchange()) return helper.damage().text();
        if (const auto* interference = std::get_if<Interference>(&disturbance)) {
            return wrong_beside(recovery_, story, helper, *interference, came);
        }
        return came ? wrong_after_fault(recovery_, story, helper, disturbance, report) : "the fault never came";
    };
    return {story, disk_of(story), start, wrong_after_cut, wrong_after_run};
}

void Exploration::cuts(const Depth& depth) {
    winsim::explore::CutDepth levels;
    levels.one_in_second_cuts = [depth](const Snapshot& disk) {
        winsim::Disk looked_at;
        looked_at.restore(disk);
        return has_active_record(looked_at) ? depth.second_cuts_of_restorations : depth.second_cuts_of_updates;
    };
    sweep_cuts({scenario("update"), scenario("restoration")}, levels, report);
    report.count("cuts: distinct runs judged to their end", recovery_.distinct());
    report.count("cuts: of them refused by the rules until a file was put back by hand", recovery_.refused());
}

void Exploration::harsher_cuts() {
    winsim::explore::CutDepth independent;
    independent.losses = winsim::LossModel::independent;
    sweep_cuts({scenario("update"), scenario("restoration")}, independent, report);
    sweep_cuts({scenario("scanned")}, {}, report);
}

void Exploration::faults(const Depth& depth) {
    for (const char* story : {"update", "cancelled", "withdrawn", "taken-back", "restoration"}) {
        const auto& recording = recording_of(story);
        std::vector<Disturbance> faults = failing_calls(recording, depth.looks, depth.other_calls);
        const std::size_t calls = faults.size();
        report.count("faults: calls of the stories", recording.calls.size());
        report.count("faults: failed calls", calls);
        if (depth.allocations != 0) {
            // All of the last ones: there the final report is written, behind which nobody catches anything. And all of
            // one short process, from the command line over the lock to the temporary copy.
            const bool short_process = std::string(story) == "update";
            append(faults, failing_allocations(recording, 'f', depth.allocations,
                                               short_process ? kAllAllocations : kLastAllocations));
            append(faults, failing_allocations(recording, 'c', depth.allocations, kLastAllocations));
        }
        report.count("faults: failed allocations", faults.size() - calls);
        sweep(scenario(story), faults, report);
    }
}

void Exploration::neighbours(const Depth& depth) {
    for (const char* story : {"update", "restoration"}) {
        const auto actions = interferences(story, depth.neighbours);
        report.count("neighbours: actions", actions.size());
        sweep(scenario(story), actions, report);
    }
}

void Exploration::exchanges(const Depth& depth) {
    hold_exchanges(depth.all_exchanges, report);
}

std::string Exploration::replay(const std::string& text) {
    const std::size_t colon = text.find(':');
    if (colon == std::string::npos) throw std::invalid_argument("no schedule: " + text);
    recovery_.trace = true;
    exchanges_ = text.find("@moved,") != std::string::npos || text.find("@emptied,") != std::string::npos;
    return winsim::explore::replay(scenario(text.substr(0, colon)),
                                   winsim::explore::parse_schedule(text.substr(colon + 1)));
}

}  // namespace interruption
