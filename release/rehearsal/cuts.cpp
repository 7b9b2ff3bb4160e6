#include "release/rehearsal/cuts.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <string_view>

#include "winsim/explore/explore.h"
#include "winsim/explore/parallel.h"
#include "winsim/explore/walks.h"

namespace vandrel_release {
namespace {

namespace explore = winsim::explore;

constexpr std::uint64_t kMostWork = 16ULL << 30U;
constexpr std::size_t kMostViolations = 20;

// The calls that change the disk, or make changes durable.
constexpr std::array<std::string_view, 8> kChanges{"ReplaceFileW", "MoveFileExW",      "DeleteFileW",
                                                   "WriteFile",    "FlushFileBuffers", "CreateDirectoryW",
                                                   "CopyFileW",    "CreateFileW"};

// What stood on the disks that were judged.
struct Ends {
    std::atomic<std::uint64_t> untouched = 0;
    std::atomic<std::uint64_t> updated = 0;
    std::atomic<std::uint64_t> half_way = 0;

    void note(const player::Recovery& recovery, const player::Snapshot& disk) {
        winsim::Disk looked_at;
        looked_at.restore(disk);
        const player::Oracle& oracle = recovery.course().oracle;
        if (player::has_active_record(looked_at)) {
            ++half_way;
        } else if (oracle.not_as_before(recovery.before(), oracle.picture_of(looked_at)).empty()) {
            ++untouched;
        } else {
            ++updated;  // or a violation
        }
    }
};

explore::Scenario scenario_of(const Stage& stage, player::Recovery& recovery, Ends& ends) {
    const auto start = [&recovery](const player::Snapshot& disk, int number) -> std::unique_ptr<explore::Run> {
        return recovery.start(disk, number);
    };
    const auto wrong_after_cut = [&recovery, &ends](const player::Snapshot& disk, int number) {
        ends.note(recovery, disk);
        return recovery.wrong_after_cut(disk, number + 1);
    };
    return {name_of(stage), stage.disk(), start, wrong_after_cut, nullptr};
}

// What an undisturbed update comes to: its calls, and the moments of those that change something.
struct Moments {
    std::uint64_t calls = 0;
    std::vector<explore::CrashPoint> points;
};

Moments moments_of(const explore::Scenario& scenario) {
    Moments moments;
    const std::unique_ptr<explore::Run> run = scenario.start(scenario.disk, player::kFirstRun);
    run->world().gate.add_watcher([&](const winsim::Call& call, winsim::Moment moment) {
        moments.calls += moment == winsim::Moment::before ? 1 : 0;
        if (std::ranges::find(kChanges, call.name) == kChanges.end()) return;
        moments.points.push_back({run->process(), call.number, moment, call.step});
    });
    run->run();
    return moments;
}

void sample(const explore::Scenario& scenario, const std::vector<explore::CrashPoint>& points, std::uint64_t lives,
            explore::Report& report) {
    explore::for_each_index(lives, [&](std::size_t life) {
        explore::Dice dice(life);
        const std::unique_ptr<explore::Run> run = scenario.start(scenario.disk, player::kFirstRun);
        const explore::CrashPoint& point = dice.one_of(points);
        if (!explore::run_to(*run, point)) throw std::logic_error("the update never comes to " + text_of(point));
        const explore::Cut cut{point, dice.one_of(run->world().disk.losses(winsim::LossModel::journal))};
        run->world().lose_power(cut.loss);
        const std::string wrong = scenario.wrong_after_cut(run->world().disk.snapshot(), player::kFirstRun);
        if (!wrong.empty()) report.violated(scenario.name + ":" + text_of(cut), wrong);
    });
    report.count("cuts: crash points of first runs", lives);
    report.count("cuts: first cuts with each loss", lives);
}

std::uint64_t size_of(const KeptRelease& release) {
    std::uint64_t size = 0;
    for (const KeptFile& file : release.files()) size += file.source->size();
    return size;
}

std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> lines;
    for (std::size_t at = 0; at < text.size(); at = text.find('\n', at) + 1) {
        lines.push_back(text.substr(at, text.find('\n', at) - at));
    }
    return lines;
}

}  // namespace

Cuts cut_power(const Stage& stage, player::Recovery& recovery, std::uint64_t lives) {
    Ends ends;
    explore::Report report;
    const explore::Scenario scenario = scenario_of(stage, recovery, ends);
    const Moments moments = moments_of(scenario);
    Cuts cuts;
    cuts.all = lives == 0 && size_of(*stage.to().release) <= kMostWork / moments.calls;
    if (cuts.all) {
        explore::sweep_cuts({scenario}, {}, report);
    } else {
        sample(scenario, moments.points, lives == 0 ? kDefaultLives : lives, report);
    }
    cuts.crash_points = report.counted("cuts: crash points of first runs");
    cuts.cases = report.counted("cuts: first cuts with each loss");
    cuts.untouched = ends.untouched;
    cuts.updated = ends.updated;
    cuts.half_way = ends.half_way;
    cuts.by_hand = recovery.refused();
    cuts.violations = lines_of(report.violations(kMostViolations));
    return cuts;
}

std::string name_of(const Stage& stage) {
    return std::to_string(stage.from().release->number()) + "/" + stage.client();
}

std::string replay_cut(const Stage& stage, player::Recovery& recovery, const std::string& schedule) {
    Ends ends;
    recovery.trace = true;
    return explore::replay(scenario_of(stage, recovery, ends), explore::parse_schedule(schedule));
}

}  // namespace vandrel_release
