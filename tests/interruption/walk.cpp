#include "tests/interruption/walk.h"

#include <cstdio>

#include "tests/interruption/recovery.h"

namespace interruption {
namespace {

using winsim::explore::Dice;

constexpr int kDisturbedRuns = 6;
constexpr int kQuietRuns = 3;  // to take an install back, and to bring the release

// Errors that aren't denials (see faults.h); and scanners that spare the active record: where its deletion waits for a
// handle the rules fail (the story "scanned").
const winsim::explore::Choice& choice() {
    static const winsim::explore::Choice all = [] {
        winsim::explore::Choice made{
            recording_of("update").calls, {5, 32, 33, 80, 87, 112, 1117, 12002}, {"client"}, {}};
        for (const char* share : {"1", "3", "5", "7"}) {
            for (int ms = 0; ms < 700; ms += 50) {
                made.programs.push_back(std::string("off-record,") + share + "," + std::to_string(ms) + ",0");
            }
        }
        return made;
    }();
    return all;
}

class Walk {
 public:
    Walk(Dice& dice, bool trace)
        : dice_(dice), trace_(trace), disk_(disk_with_old_release()), whole_(picture_of(disk_)) {}

    std::string go() {
        for (int number = 1; number <= kDisturbedRuns + kQuietRuns; ++number) {
            const std::string wrong = step(number, number <= kDisturbedRuns);
            if (!wrong.empty()) return "run " + std::to_string(number) + ": " + wrong;
        }
        return installed_ == kNextRelease ? "" : "the last release never came";
    }

 private:
    std::string step(int number, bool disturbed) {
        std::string wrong;
        const Snapshot put_back = player::put_back_by_hand(course(), disk_, number, wrong);
        const auto release = disturbed ? static_cast<std::uint32_t>(kNewRelease + dice_.below(2)) : kNextRelease;
        HelperRun run(put_back ? put_back : disk_, number, release);
        if (!run.had_record()) attempted_ = release;
        if (trace_) std::printf("run %d: release %u\n", number, release);
        if (disturbed) {
            const auto came = winsim::explore::run_at_random(run, choice(), dice_);
            if (trace_ && came) std::printf("run %d: %s\n", number, text_of(*came).c_str());
        } else {
            run.run();
        }
        if (!run.power_cut()) {
            run.machine.world.clock.advance(120000);
            if (wrong.empty()) wrong = run.wrong_ending();
            if (!disturbed && !run.succeeded()) wrong = "stuck: " + run.machine.status().detail;
        }
        if (trace_ && run.machine.has_status()) {
            const support::Status status = run.machine.status();
            std::printf("run %d: said %s: %s\n", number, status.state.c_str(), status.detail.c_str());
        }
        disk_ = run.machine.world.disk.snapshot();
        return wrong.empty() ? judge(run) : wrong;
    }

    // Without an active record the folder is what it was when it was last whole, or the release that was on its way.
    std::string judge(const HelperRun& run) {
        const winsim::Disk& disk = run.machine.world.disk;
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

    Dice& dice_;
    bool trace_;
    Snapshot disk_;
    Picture whole_;
    std::uint32_t attempted_ = kOldRelease;
    std::uint32_t installed_ = kOldRelease;
};

}  // namespace

std::string wrong_in_walk(Dice& dice, bool trace) {
    return Walk(dice, trace).go();
}

}  // namespace interruption
