// The harsher model of losses: which change of a name, lost or kept alone, breaks what.
#include <string_view>

#include "tests/interruption/places.h"
#include "tests/interruption/power_cuts.h"

namespace interruption {
namespace {

// Names the pending changes of names, oldest first, by the call that made each.
class PendingChanges {
 public:
    void look(const winsim::Disk& disk, const winsim::Call& call) {
        const std::size_t pending = disk.pending();
        if (pending < labels_.size()) labels_.clear();
        if (pending > labels_.size())
            labels_.resize(pending, std::string(call.name) + " of " + std::string(place_of(call.subject)));
    }
    // Which change the loss treats unlike its neighbours; empty for what the journal model allows, too.
    std::string odd_one(const winsim::Loss& loss) const {
        std::size_t kept = 0;
        for (const bool flag : loss.kept) kept += flag ? 1 : 0;
        const bool lost_alone = kept + 1 == loss.kept.size() && !loss.kept.back();
        for (std::size_t i = 0; i < loss.kept.size() && i < labels_.size(); ++i) {
            if (lost_alone) break;
            if (kept == 1 && loss.kept[i] && i != 0) return "kept alone: " + labels_[i];
            if (kept != 1 && kept + 1 == loss.kept.size() && !loss.kept[i]) return "lost alone: " + labels_[i];
        }
        return {};
    }

 private:
    std::vector<std::string> labels_;
};

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
                          const std::string cause = pending.odd_one(left.loss);
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
        std::string wrong = wrong_after_cut(work[i].disk, judge.before());
        if (wrong.empty()) wrong = judge.verdict(work[i].disk, kSecondVisit);
        if (wrong.empty()) return;
        report.count("harsher model and scanned life: cuts that break something");
        report.classified(work[i].cause + "\n          " + wrong, work[i].replay);
    });
}

}  // namespace interruption
