#include "release/rehearsal/stories.h"

#include <algorithm>
#include <functional>

namespace vandrel_release {
namespace {

constexpr std::uint64_t kPlenty = 1ULL << 60;     // bytes
constexpr std::uint64_t kStatusRoom = 4096;       // bytes that a full disk still has, for the helper's last words
constexpr std::uint32_t kConnectionLost = 12030;  // ERROR_WINHTTP_CONNECTION_ERROR

// Notes what the client is told, and when.
void keep_beats(player::Machine& machine, std::vector<Beat>& beats) {
    const std::uint64_t start = machine.world.clock.tick_ms();
    for (const char* state :
         {"checking", "update_available", "downloading", "handoff", "current", "error", "cancelled"}) {
        machine.on_state(state, [&machine, &beats, start] {
            const player::Status status = machine.status();
            beats.push_back({machine.world.clock.tick_ms() - start, status.state, status.detail});
        });
    }
}

class Player {
 public:
    Player(Stage& stage, const player::Recovery& recovery, Part& part)
        : stage_(stage), recovery_(recovery), part_(part) {}

    bool update() {
        Story story{"update", "", "", {}};
        PlayedRun run(stage_, stage_.disk(), player::kFirstRun);
        keep_beats(run.machine, story.beats);
        std::uint64_t least = kPlenty;
        winsim::Disk& disk = run.machine.world.disk;
        disk.set_free_bytes(kPlenty);
        run.machine.world.gate.add_watcher(
            [&](const winsim::Call&, winsim::Moment) { least = std::min(least, disk.free_bytes().value_or(0)); });
        run.run();
        part_.files = run.files;
        part_.bytes = run.bytes;
        part_.peak_bytes = kPlenty - least;
        part_.requests = run.requests;
        story.words = run.last_words();
        story.wrong = not_updated(run);
        if (story.wrong.empty()) story.wrong = not_current(disk.snapshot(), player::kSecondRun);
        part_.stories.push_back(story);
        return story.wrong.empty();
    }

    // `trouble` comes in the middle of the download.
    void trouble(const char* name, const std::function<void(PlayedRun&)>& arrange) {
        Story story{name, "", "", {}};
        PlayedRun run(stage_, stage_.disk(), player::kFirstRun);
        keep_beats(run.machine, story.beats);
        run.at_half_of(part_.bytes, [&] { arrange(run); });
        run.run();
        run.machine.world.disk.set_free_bytes(kPlenty);
        story.words = run.last_words();
        story.wrong = not_taken_back(run);
        if (story.wrong.empty()) story.wrong = not_updated_next(run.machine.world.disk.snapshot());
        part_.stories.push_back(story);
    }

 private:
    std::string not_taken_back(const PlayedRun& run) const {
        if (run.succeeded()) return "went on as if nothing had happened";
        std::string wrong = run.wrong_ending();
        if (!wrong.empty()) return wrong;
        const winsim::Disk& disk = run.machine.world.disk;
        if (player::has_active_record(disk)) return "left the folder half way";
        const player::Oracle& oracle = recovery_.course().oracle;
        return oracle.not_as_before(recovery_.before(), oracle.picture_of(disk));
    }

    // The helper's words, if it stopped by itself; and what is odd about its executable.
    std::string not_updated(PlayedRun& run) const {
        std::string wrong = run.wrong_ending();
        if (wrong.empty()) wrong = run.succeeded() ? recovery_.wrong_with(run, recovery_.before()) : run.last_words();
        return wrong.empty() ? wrong : wrong + remark_on(run);
    }

    static std::string remark_on(PlayedRun& run) {
        const std::string remark = run.belief().remark;
        return remark.empty() ? remark : " (the helper " + remark + ")";
    }

    // The trouble is over: the next start brings the release.
    std::string not_updated_next(const player::Snapshot& disk) {
        PlayedRun run(stage_, disk, player::kSecondRun);
        run.run();
        const std::string wrong = not_updated(run);
        if (!wrong.empty()) return "afterwards " + wrong;
        return not_current(run.machine.world.disk.snapshot(), player::kThirdRun);
    }

    // One more start finds nothing to do, and does nothing.
    std::string not_current(const player::Snapshot& disk, int number) {
        PlayedRun run(stage_, disk, number);
        const player::Oracle& oracle = recovery_.course().oracle;
        const player::Picture before = oracle.picture_of(run.machine.world.disk);
        run.run();
        if (run.copy_ran() || run.last_words() != "current 'Cliente atualizado.'") {
            return "the next start said " + run.last_words() + remark_on(run);
        }
        return oracle.not_as_before(before, oracle.picture_of(run.machine.world.disk));
    }

    Stage& stage_;
    const player::Recovery& recovery_;
    Part& part_;
};

void cancel(PlayedRun& run) {
    run.machine.say("cancel");
}

void lose_server(PlayedRun& run) {
    run.server_gone = true;
    run.machine.world.gate.set_fault_rule(
        [](const winsim::Call& call) { return call.name == "WinHttpReadData" ? kConnectionLost : 0; });
}

}  // namespace

void play(Stage& stage, const player::Recovery& recovery, Part& part) {
    Player player(stage, recovery, part);
    if (!player.update() || part.bytes == 0) return;  // there is no middle of nothing
    player.trouble("cancelled", cancel);
    player.trouble("server gone", lose_server);
    player.trouble("disk full", [&part](PlayedRun& run) {
        run.machine.world.disk.set_free_bytes(std::min(kStatusRoom, part.bytes / 4));
    });
}

}  // namespace vandrel_release
