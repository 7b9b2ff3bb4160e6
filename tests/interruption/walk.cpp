#include "tests/interruption/walk.h"

#include <windows.h>

#include <array>
#include <chrono>
#include <cstdio>

#include "tests/interruption/cuts.h"
#include "tests/interruption/lives.h"
#include "tests/interruption/neighbours.h"

namespace interruption {
namespace {

constexpr int kVisits = 6;       // with trouble; then two without
constexpr int kQuietVisits = 3;  // to take an install back, and to bring the release

class Dice {
 public:
    explicit Dice(std::uint64_t seed) : state_(seed) {}
    std::uint64_t below(std::uint64_t limit) {
        state_ += 0x9E3779B97F4A7C15U;
        std::uint64_t value = state_;
        value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9U;
        value = (value ^ (value >> 27)) * 0x94D049BB133111EBU;
        return (value ^ (value >> 31)) % limit;
    }

 private:
    std::uint64_t state_;
};

class Life {
 public:
    Life(std::uint64_t seed, bool trace)
        : dice_(seed), trace_(trace), disk_(disk_with_old_release()), whole_(picture_of(disk_)) {}

    std::string live() {
        for (int i = 0; i < kVisits + kQuietVisits; ++i) {
            const std::string wrong = visit(++number_, i < kVisits);
            if (!wrong.empty()) return "visit " + std::to_string(number_) + ": " + wrong;
        }
        return installed_ == kNextRelease ? "" : "the last release never came";
    }

 private:
    std::string visit(int number, bool trouble) {
        std::string wrong;
        const Snapshot put_back = put_back_by_hand(disk_, number, wrong);
        const auto release = trouble ? static_cast<std::uint32_t>(kNewRelease + dice_.below(2)) : kNextRelease;
        Visit visit(put_back ? put_back : disk_, number, release);
        if (!visit.had_record()) attempted_ = release;
        say(number, "release " + std::to_string(release));
        const std::uint64_t kind = trouble ? dice_.below(4) : 3;
        if (kind == 0) bring_fault(visit);
        if (kind == 1) bring_neighbour(visit);
        if (kind == 2) bring_cut(visit);
        const Ending ending = visit.run();
        const bool cut = ending.last().end == winsim::RunResult::End::power_cut;
        if (cut) {
            lose_power(visit);
        } else {
            visit.machine.world.clock.advance(120000);
            if (wrong.empty()) wrong = broken_manners(visit, ending);
            if (!trouble && ending.last().exit_code != 0) wrong = "stuck: " + visit.machine.status().detail;
        }
        if (visit.machine.has_status()) {
            const support::Status status = visit.machine.status();
            say(number, "said " + status.state + ": " + status.detail);
        }
        disk_ = visit.machine.world.disk.snapshot();
        return wrong.empty() ? judge(visit) : wrong;
    }

    // Without an active record the folder is what it was when it was last whole, or the release that was on its way.
    std::string judge(const Visit& visit) {
        const winsim::Disk& disk = visit.machine.world.disk;
        if (has_active_record(disk)) return {};
        Picture now = picture_of(disk);
        const std::string as_before = not_as_before(whole_, now);
        if (as_before.empty()) return {};
        const std::string updated = not_updated(whole_, attempted_, now, true);
        if (!updated.empty()) return as_before + " (as before), " + updated + " (as updated)";
        whole_ = std::move(now);
        installed_ = attempted_;
        return {};
    }

    std::uint64_t some_call(Run run) { return 1 + dice_.below(run == Run::first ? 620 : 4200); }
    Run some_run() { return dice_.below(6) == 0 ? Run::first : Run::copy; }

    void bring_cut(Visit& visit) {
        const Point point{some_run(), 0, dice_.below(2) == 0 ? winsim::Moment::before : winsim::Moment::after, 0};
        const std::uint64_t call = some_call(point.run);
        say(visit.number(), "the power goes at " + text_of(Point{point.run, call, point.moment, 0}));
        visit.before_run = [&visit, point, call](Run run) {
            if (run == point.run) visit.machine.world.gate.cut_at(call, point.moment, 0);
        };
    }

    void lose_power(Visit& visit) {
        winsim::Disk& disk = visit.machine.world.disk;
        const auto losses = disk.losses(winsim::LossModel::journal);
        const winsim::Loss& loss = losses[dice_.below(losses.size())];
        say(visit.number(), "and takes " + loss.name());
        disk.lose_power(loss);
    }

    // Errors that aren't lies ("not found" is one): see faults.cpp.
    void bring_fault(Visit& visit) {
        constexpr std::array<std::uint32_t, 8> errors{5, 32, 33, 80, 87, 112, 1117, 12002};
        const Run run = some_run();
        const std::uint64_t call = some_call(run);
        const std::uint32_t error = errors.at(dice_.below(errors.size()));
        say(visit.number(),
            "call " + text_of(Point{run, call, winsim::Moment::before, 0}) + " fails: " + std::to_string(error));
        visit.machine.world.gate.set_fault_rule([&visit, run, call, error](const winsim::Call& now) {
            return visit.run_now() == run && now.number == call ? error : 0U;
        });
    }

    // A second client, or somebody who keeps each file that comes to a new name open for a while.
    void bring_neighbour(Visit& visit) {
        const bool client = dice_.below(2) == 0;
        const Run run = some_run();
        const std::uint64_t call = some_call(run);
        const auto share = static_cast<std::uint32_t>(1 + 2 * dice_.below(4));
        const std::uint64_t ms = dice_.below(700);
        say(visit.number(),
            client ? "a second client starts"
                   : "a scanner is at work, share " + std::to_string(share) + ", " + std::to_string(ms) + " ms");
        visit.machine.world.gate.add_watcher(
            [&visit, client, run, call, share, ms](const winsim::Call& now, winsim::Moment moment) {
                if (moment != winsim::Moment::after) return;
                if (client) {
                    winsim::Processes& processes = visit.machine.world.processes;
                    if (visit.run_now() == run && now.number == call) processes.start(support::kClient);
                    return;
                }
                if (now.name != "ReplaceFileW" && now.name != "MoveFileExW") return;
                // With the active record's deletion waiting for a handle the rules fail: see the life "scanned".
                if (now.subject == visit.machine.active_record() && (share & FILE_SHARE_DELETE) != 0) return;
                hold_for(visit.machine, std::wstring(now.subject), share, ms);
            });
    }

    void say(int number, const std::string& what) const {
        if (trace_) std::printf("visit %d: %s\n", number, what.c_str());
    }

    Dice dice_;
    bool trace_;
    Snapshot disk_;
    Picture whole_;
    int number_ = 0;
    std::uint32_t attempted_ = kOldRelease;
    std::uint32_t installed_ = kOldRelease;
};

}  // namespace

std::string walk_one_life(std::uint64_t seed, std::uint64_t life, bool trace) {
    return Life(seed * 1000003 + life, trace).live();
}

void walk(std::uint64_t seed, std::uint64_t lives, std::uint64_t seconds, Report& report) {
    constexpr std::uint64_t kBatch = 200;
    const auto start = std::chrono::steady_clock::now();
    for (std::uint64_t done = 0; lives == 0 || done < lives; done += kBatch) {
        const auto passed = std::chrono::steady_clock::now() - start;
        if (seconds != 0 && passed >= std::chrono::seconds(seconds)) break;
        const std::uint64_t batch = lives == 0 ? kBatch : std::min(kBatch, lives - done);
        in_parallel(batch, [&](std::size_t i) {
            const std::uint64_t life = done + i;
            const std::string wrong = walk_one_life(seed, life, false);
            if (!wrong.empty()) report.violated("walk:" + std::to_string(seed) + ":" + std::to_string(life), wrong);
        });
        report.count("walk: lives", batch);
    }
}

}  // namespace interruption
