#include "tests/interruption/power_cuts.h"

#include <windows.h>

#include <cstdio>
#include <stdexcept>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace interruption {
namespace {

// One disk that a first cut may leave, with the first of the cuts that leave it.
struct FirstCut {
    std::string replay;
    Snapshot disk;
    std::size_t number = 0;  // of its base life's, from 0
};

std::vector<FirstCut> first_cuts(const BaseLife& base, Report& report) {
    std::vector<FirstCut> found;
    std::unordered_set<std::uint64_t> seen;
    std::uint64_t cuts = 0;
    std::uint64_t losses = 0;
    Visit visit(base.disk, kFirstVisit);
    watch_moments(visit, winsim::LossModel::journal,
                  [&](const Point& point, const winsim::Call&, const std::vector<Remains>& remains, bool fresh) {
                      ++cuts;
                      losses += remains.size();
                      if (!fresh) return;
                      for (const Remains& left : remains) {
                          if (!seen.insert(left.hash).second) continue;
                          found.push_back({base.name + ":" + text_of(Cut{point, left.loss}), left.disk, found.size()});
                      }
                  });
    visit.run();
    report.count("cuts: moments of the first visit", cuts);
    report.count("losses: first cuts with each loss", losses);
    report.count("lives", losses);
    report.count("distinct disks after a first cut", found.size());
    return found;
}

// The second visit after one first cut, cut at each of its moments with each loss.
class SecondCuts {
 public:
    SecondCuts(Judge& judge, const FirstCut& first, const Depth& depth, Report& report)
        : judge_(judge), first_(first), report_(report) {
        std::string wrong;
        const Snapshot put_back = put_back_by_hand(first.disk, kSecondVisit, wrong);
        start_ = put_back ? put_back : first.disk;
        winsim::Disk looked_at;
        looked_at.restore(start_);
        one_in_ = has_active_record(looked_at) ? depth.one_in_after_install : depth.one_in_after_staging;
    }

    void explore() {
        if (one_in_ == 0) return;
        Visit visit(start_, kSecondVisit);
        watch_moments(visit, winsim::LossModel::journal,
                      [this](const Point& point, const winsim::Call&, const std::vector<Remains>& remains, bool fresh) {
                          if (fresh) judge_all(point, remains);
                          cuts_ += judged_ != 0 ? 1 : 0;
                          lives_ += judged_;
                      });
        visit.run();
        report_.count("second cuts: moments of the second visit", cuts_);
        report_.count("second losses: second cuts with each loss", lives_);
        report_.count("lives", lives_);
    }

 private:
    void judge_all(const Point& point, const std::vector<Remains>& remains) {
        judged_ = 0;
        for (const Remains& left : remains) {
            // Chosen by their order, not by their hash: signatures in them, and so hashes, are others in each run.
            const auto [known, is_new] =
                chosen_.try_emplace(left.hash, (first_.number + chosen_.size()) % one_in_ == 0);
            if (!known->second) continue;
            ++judged_;
            if (!is_new) continue;
            std::string wrong = wrong_after_cut(left.disk, judge_.before());
            if (wrong.empty()) wrong = judge_.verdict(left.disk, kThirdVisit);
            if (!wrong.empty()) report_.violated(first_.replay + ":" + text_of(Cut{point, left.loss}), wrong);
        }
    }

    Judge& judge_;
    const FirstCut& first_;
    Report& report_;
    Snapshot start_;
    std::uint64_t one_in_ = 1;
    std::unordered_map<std::uint64_t, bool> chosen_;  // of the disks seen: whether they are judged
    std::uint64_t judged_ = 0;                        // losses at the present moment whose end is judged
    std::uint64_t cuts_ = 0;
    std::uint64_t lives_ = 0;
};

void explore_first_cut(Judge& judge, const FirstCut& first, const Depth& depth, Report& report) {
    if (report.enough()) return;
    std::string wrong = wrong_after_cut(first.disk, judge.before());
    if (wrong.empty()) wrong = judge.verdict(first.disk, kSecondVisit);
    if (!wrong.empty()) {
        report.violated(first.replay, wrong);
        return;  // what would come after it is broken, too
    }
    SecondCuts(judge, first, depth, report).explore();
}

}  // namespace

BaseLife base_life(const std::string& name) {
    if (name == "update" || name == "scanned") return {name, disk_with_old_release()};
    if (name == "restoration") return {name, disk_with_interrupted_install()};
    throw std::invalid_argument("no base life: " + name);
}

void bring_scanner(const std::string& base, Visit& visit) {
    if (base != "scanned") return;
    visit.machine.world.gate.add_watcher([&visit](const winsim::Call& call, winsim::Moment moment) {
        const std::wstring record = visit.machine.active_record();
        if (moment != winsim::Moment::after || call.name != "MoveFileExW" || call.subject != record) return;
        visit.machine.world.disk.hold(record, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE);
    });
}

void explore_power_cuts(Judge& judge, const Depth& depth, Report& report) {
    std::vector<FirstCut> work;
    for (const char* name : {"update", "restoration"}) {
        const auto found = first_cuts(base_life(name), report);
        work.insert(work.end(), found.begin(), found.end());
    }
    in_parallel(work.size(), [&](std::size_t i) { explore_first_cut(judge, work[i], depth, report); });
    report.count("distinct visits judged to their end", judge.distinct());
    report.count("of them refused by the rules until a file was put back by hand", judge.refused());
}

std::string replay_power_cuts(Judge& judge, const std::string& life) {
    const std::size_t colon = life.find(':');
    Snapshot disk = base_life(life.substr(0, colon)).disk;
    std::string wrong;
    int number = kFirstVisit;
    for (const Cut& cut : parse_cuts(life.substr(colon + 1))) {
        const Snapshot put_back = put_back_by_hand(disk, number, wrong);
        Visit visit(put_back ? put_back : disk, number++);
        if (number == kSecondVisit) bring_scanner(life.substr(0, colon), visit);
        visit.machine.world.gate.keep_trace(true);
        visit.before_run = [&](Run run) { std::printf("visit %d, run %c\n", visit.number(), static_cast<char>(run)); };
        disk = run_and_cut(visit, cut);
        for (const std::string& line : visit.machine.world.gate.trace()) std::printf("%s\n", line.c_str());
        std::printf("after %s:\n", text_of(cut).c_str());
        winsim::Disk looked_at;
        looked_at.restore(disk);
        for (const std::wstring& path : looked_at.tree(support::kRoot)) {
            std::printf("    %s\n", support::narrow(path).c_str());
        }
        if (wrong.empty()) wrong = wrong_after_cut(disk, judge.before());
    }
    judge.trace = true;
    return wrong.empty() ? judge.verdict(disk, number) : wrong;
}

}  // namespace interruption
