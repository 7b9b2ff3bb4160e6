// One start of the client and the helper, as a run that can be watched and interrupted; and its place in a history of
// such runs, each on the disk that the one before has left.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "winsim/explore/exchanges.h"
#include "winsim/player/machine.h"

namespace player {

using Snapshot = std::shared_ptr<const winsim::Disk::State>;

// The runs of a history: each has a job, process ids and a time of its own. The last one comes more than a day later.
inline constexpr int kFirstRun = 1;     // the one that is disturbed
inline constexpr int kSecondRun = 2;    // the recovery, cut again
inline constexpr int kThirdRun = 3;     // the recovery from that
inline constexpr int kOrdinaryRun = 4;  // brings the release where the one before has taken an install back
inline constexpr int kNextDayRun = 5;

// What files that stood there before the first run may be dated, in 100 ns units since 1601: ten days earlier.
inline constexpr std::uint64_t kInstallTime = 134273808000000000 - 240ULL * 3600 * 1000 * winsim::kTicksPerMs;

std::wstring job_of(int run);

// The client is there, agrees to whatever is offered, and closes when it is told to. The processes are the first
// instance, 'f', and, if that has started one, the temporary copy, 'c'.
class UpdateRun : public winsim::explore::Run {
 public:
    explicit UpdateRun(Machine& machine) : machine_(machine) {}  // whose construction may come later

    winsim::World& world() override { return machine_.world; }
    Machine& host() { return machine_; }
    const Machine& host() const { return machine_; }
    void run() override;
    // "moved,FOLDER", "emptied,FOLDER": somebody exchanges the folder in use for a junction. Only for a run that
    // expects it.
    bool interfere(const std::string& action) override;
    // By a short name: "store", "job" (in the store), "files", "files/data", "backup", "backup/data" (in that),
    // "profiles", "profile", "updater" (of the status), "copies", "copy" (of the helper, in the temporary folder), and
    // "data", "modules" (in the client's folder). Any other: std::invalid_argument.
    std::wstring folder_in_use(const std::string& name) const;
    void expect_exchange() { exchanged_.emplace(world()); }
    bool expects_exchange() const { return exchanged_.has_value(); }
    winsim::explore::Damage damage() const { return exchanged_->damage(); }

    int number() const { return number_; }
    bool had_record() const { return had_record_; }
    std::vector<winsim::Start> client_starts() const;
    // Once it has run.
    const std::vector<winsim::RunResult>& processes() const { return processes_; }
    bool copy_ran() const { return processes_.size() == 2; }
    bool succeeded() const { return processes_.back().exit_code == 0; }
    // What every run that ended by itself must have kept: no forbidden call, nothing that escaped, no handle, no block
    // and no lock left. Empty: it has.
    std::string wrong_ending() const;
    // "error 'Release sem espaco.'", or "no status".
    std::string last_words() const;

 protected:
    // Switches the machine on as run `number`, with `disk` in it.
    void switch_on(const Snapshot& disk, int number);

 private:
    Machine& machine_;
    int number_ = 0;
    bool had_record_ = false;
    std::vector<winsim::RunResult> processes_;
    std::optional<winsim::explore::ExchangedFolder> exchanged_;
};

}  // namespace player
