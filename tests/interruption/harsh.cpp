// The harsher model of losses: which change of a name, lost or kept alone, breaks what.
#include <algorithm>
#include <array>
#include <string_view>

#include "tests/interruption/places.h"
#include "tests/interruption/power_cuts.h"

namespace interruption {
namespace {

// The pending changes of names, oldest first, by the call that made each.
class PendingChanges {
 public:
    void look(const winsim::Disk& disk, const winsim::Call& call) {
        const std::size_t pending = disk.pending();
        if (pending < changes_.size()) changes_.clear();
        const std::string label = std::string(call.name) + " of " + std::string(place_of(call.subject));
        while (changes_.size() < pending) changes_.push_back({label, call.number});
    }
    // Which change the loss treats unlike its neighbours; empty for what the journal model allows, too. A call that is
    // still under way is told apart: what a write-through call has done is not pending any more when it has returned.
    std::string odd_one(const winsim::Loss& loss, const Point& point) const {
        const std::vector<bool>& kept = loss.kept;
        const auto count = static_cast<std::size_t>(std::ranges::count(kept, true));
        if (kept.empty() || (count + 1 == kept.size() && !kept.back())) return {};
        const bool lost = count != 1 && count + 1 == kept.size();
        const auto odd = static_cast<std::size_t>(std::ranges::find(kept, !lost) - kept.begin());
        if (odd >= changes_.size() || (!lost && (count != 1 || odd == 0))) return {};
        const bool under_way = point.moment == winsim::Moment::inside && changes_[odd].call == point.call;
        return (lost ? "lost alone: " : "kept alone: ") + changes_[odd].label + (under_way ? ", under way" : "");
    }

 private:
    struct Change {
        std::string label;
        std::uint64_t call;
    };
    std::vector<Change> changes_;
};

// The changes that break something, as docs/how-it-is-tested.md tells. Any other is a violation: it would mean that the
// helper relies on an order that it doesn't rely on today.
bool is_documented(const std::string& cause) {
    constexpr std::array<std::string_view, 9> documented{"kept alone: DeleteFileW of backup",
                                                         "kept alone: RemoveDirectoryW of backup",
                                                         "kept alone: RemoveDirectoryW of store",
                                                         "kept alone: ReplaceFileW of target, under way",
                                                         "lost alone: CreateDirectoryW of backup",
                                                         "lost alone: DeleteFileW of active",
                                                         "lost alone: RemoveDirectoryW of backup",
                                                         "lost alone: ReplaceFileW of target, under way",
                                                         "the active record's deletion waits for a handle"};
    return std::ranges::find(documented, cause) != documented.end();
}

struct HarshCut {
    std::string replay;
    std::string cause;
    Snapshot disk;
};

std::vector<HarshCut> scanned_cuts(Report& report) {
    std::vector<HarshCut> found;
    const BaseLife base = base_life("scanned");
    Visit visit(base.disk, kFirstVisit);
    bring_scanner(base.name, visit);
    watch_moments(visit, winsim::LossModel::journal,
                  [&](const Point& point, const winsim::Call&, const std::vector<Remains>& remains, bool fresh) {
                      report.count("scanned life: cases", remains.size());
                      if (!fresh) return;
                      for (const Remains& left : remains) {
                          found.push_back({base.name + ":" + text_of(Cut{point, left.loss}),
                                           "the active record's deletion waits for a handle", left.disk});
                      }
                  });
    visit.run();
    return found;
}

std::vector<HarshCut> harsh_cuts(const BaseLife& base, Report& report) {
    std::vector<HarshCut> found;
    PendingChanges pending;
    Visit visit(base.disk, kFirstVisit);
    watch_moments(visit, winsim::LossModel::independent,
                  [&](const Point& point, const winsim::Call& call, const std::vector<Remains>& remains, bool fresh) {
                      pending.look(visit.machine.world.disk, call);
                      for (const Remains& left : remains) {
                          const std::string cause = pending.odd_one(left.loss, point);
                          if (cause.empty()) continue;
                          report.count("harsher model: cases");
                          if (!fresh) continue;
                          found.push_back({base.name + ":" + text_of(Cut{point, left.loss}), cause, left.disk});
                      }
                  });
    visit.run();
    return found;
}

}  // namespace

void explore_harsher_losses(Judge& judge, Report& report) {
    std::vector<HarshCut> work;
    for (const char* name : {"update", "restoration"}) {
        const auto found = harsh_cuts(base_life(name), report);
        work.insert(work.end(), found.begin(), found.end());
    }
    report.count("harsher model: distinct cuts", work.size());
    const auto scanned = scanned_cuts(report);
    work.insert(work.end(), scanned.begin(), scanned.end());
    in_parallel(work.size(), [&](std::size_t i) {
        if (report.enough()) return;
        std::string wrong = wrong_after_cut(work[i].disk, judge.before());
        if (wrong.empty()) wrong = judge.verdict(work[i].disk, kSecondVisit);
        if (wrong.empty()) return;
        if (!is_documented(work[i].cause)) report.violated(work[i].replay, work[i].cause + ": " + wrong);
        report.count("harsher model and scanned life: cuts that break something");
        report.classified(work[i].cause + "\n          " + wrong, work[i].replay);
    });
}

}  // namespace interruption
