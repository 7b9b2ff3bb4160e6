#include <optional>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "winsim/explore/explore.h"
#include "winsim/explore/parallel.h"

namespace winsim::explore {
namespace {

// One loss that a crash point allows, and what it leaves.
struct Remains {
    Loss loss;
    Snapshot disk;
    std::uint64_t hash = 0;
};

// Called at each crash point, with all losses that are possible there. `fresh` is false as long as nothing has changed
// on the disk since the crash point before.
using AtCrashPoint = std::function<void(const CrashPoint& point, const std::vector<Remains>& remains, bool fresh)>;

std::vector<Remains> remains_of(const Disk& disk, LossModel model) {
    std::vector<Remains> remains;
    for (Loss& loss : disk.losses(model)) {
        Snapshot left = disk.snapshot_after(loss);
        const std::uint64_t hash = Disk::hash(*left);
        remains.push_back({std::move(loss), std::move(left), hash});
    }
    return remains;
}

void run_watched(Run& run, LossModel model, const AtCrashPoint& at_crash_point) {
    Snapshot last;
    std::vector<Remains> remains;
    run.world().gate.add_watcher([&](const Call& call, Moment moment) {
        const Disk& disk = run.world().disk;
        const bool fresh = !last || disk.changed_since(last);
        if (fresh) {
            last = disk.snapshot();
            remains = remains_of(disk, model);
        }
        at_crash_point({run.process(), call.number, moment, call.step}, remains, fresh);
    });
    run.run();
}

// A disk that a first cut may leave, with the first of the cuts that leave it.
struct FirstCut {
    const Scenario* scenario;
    Cut cut;
    Snapshot disk;
    std::size_t number;  // of its scenario's, from 0

    std::string text() const { return scenario->name + ":" + text_of(cut); }
};

void find_first_cuts(const Scenario& scenario, LossModel model, std::vector<FirstCut>& found, Report& report) {
    std::unordered_set<std::uint64_t> seen;
    std::uint64_t points = 0;
    std::uint64_t losses = 0;
    const std::unique_ptr<Run> run = scenario.start(scenario.disk, 1);
    run_watched(*run, model, [&](const CrashPoint& point, const std::vector<Remains>& remains, bool fresh) {
        ++points;
        losses += remains.size();
        if (!fresh) return;
        for (const Remains& left : remains) {
            const std::size_t number = seen.size();
            if (seen.insert(left.hash).second) found.push_back({&scenario, {point, left.loss}, left.disk, number});
        }
    });
    report.count("cuts: crash points of first runs", points);
    report.count("cuts: first cuts with each loss", losses);
    report.count("cuts: distinct disks behind them", seen.size());
    report.count("cases", losses);
}

// The second run after one first cut, cut at each of its crash points with each loss.
class SecondCuts {
 public:
    SecondCuts(const FirstCut& first, std::uint64_t one_in, Report& report)
        : first_(first), one_in_(one_in), report_(report) {}

    void explore(LossModel model) {
        const std::unique_ptr<Run> run = first_.scenario->start(first_.disk, 2);
        std::uint64_t points = 0;
        std::uint64_t cases = 0;
        std::uint64_t judged = 0;  // losses at the present crash point whose end is judged
        run_watched(*run, model, [&](const CrashPoint& point, const std::vector<Remains>& remains, bool fresh) {
            if (fresh) judged = judge(point, remains);
            points += judged != 0 ? 1 : 0;
            cases += judged;
        });
        report_.count("cuts: crash points of second runs", points);
        report_.count("cuts: second cuts with each loss", cases);
        report_.count("cases", cases);
    }

 private:
    std::uint64_t judge(const CrashPoint& point, const std::vector<Remains>& remains) {
        std::uint64_t judged = 0;
        for (const Remains& left : remains) {
            // Chosen by their order, not by their hash, which random bytes on the disk may make another in each build.
            const auto [known, is_new] =
                chosen_.try_emplace(left.hash, (first_.number + chosen_.size()) % one_in_ == 0);
            if (!known->second) continue;
            ++judged;
            if (!is_new) continue;
            const std::string wrong = first_.scenario->wrong_after_cut(left.disk, 2);
            if (!wrong.empty()) report_.violated(first_.text() + ":" + text_of(Cut{point, left.loss}), wrong);
        }
        return judged;
    }

    const FirstCut& first_;
    std::uint64_t one_in_;
    Report& report_;
    std::unordered_map<std::uint64_t, bool> chosen_;  // of the disks seen: whether they are judged
};

void follow(const FirstCut& first, const CutDepth& depth, Report& report) {
    if (report.enough()) return;
    const std::string wrong = first.scenario->wrong_after_cut(first.disk, 1);
    if (!wrong.empty()) {
        report.violated(first.text(), wrong);
        return;  // what would come after it is broken, too
    }
    const std::uint64_t one_in = depth.one_in_second_cuts ? depth.one_in_second_cuts(first.disk) : 0;
    if (one_in != 0) SecondCuts(first, one_in, report).explore(depth.losses);
}

}  // namespace

void sweep_cuts(const std::vector<Scenario>& scenarios, const CutDepth& depth, Report& report) {
    std::vector<FirstCut> first_cuts;
    for (const Scenario& scenario : scenarios) find_first_cuts(scenario, depth.losses, first_cuts, report);
    for_each_index(first_cuts.size(), [&](std::size_t i) { follow(first_cuts[i], depth, report); });
}

}  // namespace winsim::explore
