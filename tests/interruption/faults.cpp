#include "tests/interruption/faults.h"

#include "winsim/explore/faults.h"

namespace interruption {
namespace {

using winsim::explore::FailedCall;
using winsim::explore::RecordedCall;

// What has failed: a call with an error; or an allocation, then `call` is null.
struct Fault {
    const RecordedCall* call = nullptr;
    std::uint32_t error = 0;

    bool is(std::string_view name) const { return call != nullptr && call->name == name; }
};

// The fault may have hit the last report itself: its file, a folder on the way to it, its text, or memory.
bool may_lose_report(const HelperRun& run, const Fault& fault) {
    if (fault.call == nullptr || fault.call->name.ends_with("ByteToWideChar") || fault.is("WideCharToMultiByte")) {
        return true;
    }
    const std::wstring status = run.machine.status_path();
    return status.starts_with(fault.call->subject) || fault.call->subject.starts_with(status);
}

std::string wrong_folder(const HelperRun& run, const Picture& before) {
    const winsim::Disk& disk = run.machine.world.disk;
    const bool taken_back = run.had_record() || run.fails_last_replacement;
    if (has_active_record(disk)) return taken_back && !run.succeeded() ? "" : "the active record stayed";
    const Picture now = picture_of(disk);
    if (taken_back) return not_as_before(before, now);
    // A file that couldn't be read in the comparison is brought anew.
    return run.succeeded() ? not_updated(before, kNewRelease, now, true) : neither_old_nor_new(before, now);
}

std::string wrong_after_failure(Recovery& recovery, HelperRun& run, const Fault& fault) {
    std::string wrong = run.wrong_ending();
    if (!wrong.empty()) return wrong;
    const bool status_lost = fault.is("ReplaceFileW") && (fault.error == 1176 || fault.error == 1177);
    if (!run.machine.has_status() && !status_lost) return "no status was written";
    if (run.machine.has_status()) wrong = wrong_report(run, may_lose_report(run, fault));
    if (wrong.empty()) wrong = wrong_folder(run, recovery.before());
    winsim::Disk& disk = run.machine.world.disk;
    if (wrong.empty() && run.client_starts().size() > 1) wrong = "the client was started twice";
    if (!wrong.empty()) return wrong;
    // The client clears its job's files away: what they say makes no difference to any later run.
    disk.erase(run.machine.status_path());
    run.machine.forget_command();
    // Files that were brought anew for nothing have another time than the recovery looks for.
    const bool anew = run.succeeded() && !neither_old_nor_new(recovery.before(), picture_of(disk)).empty();
    return anew ? recovery.unhealed(disk.snapshot()) : recovery.wrong_from(disk.snapshot(), kThirdRun);
}

std::string wrong_after_denial(const Recovery& recovery, HelperRun& run, const Fault& fault) {
    std::string wrong = run.wrong_ending();
    const winsim::Disk& disk = run.machine.world.disk;
    if (wrong.empty()) wrong = oracle().foreign_content(recovery.before(), recovery.course().release, picture_of(disk));
    if (!wrong.empty()) return wrong;
    wrong = recovery.unhealed(disk.snapshot());
    // The active record was denied, and the backups have gone for it.
    const bool denied = has_active_record(disk) && fault.call->subject == run.machine.active_record();
    return denied && wrong == "stuck: error 'Arquivo anterior sem backup valido.'" ? "" : wrong;
}

}  // namespace

std::string wrong_report(const HelperRun& run, bool may_be_lost) {
    if (!run.machine.has_status()) return "no status was written";
    const std::string state = run.machine.status().state;
    if (may_be_lost && state.empty()) return {};  // its text couldn't be converted
    if ((state == "current") != run.succeeded()) return "exit code and status disagree: " + state;
    const bool final = run.succeeded() || state == "error" || state == "cancelled";
    return final || may_be_lost ? "" : "ended without a report, as " + state;
}

std::string wrong_after_fault(Recovery& recovery, const std::string& story, HelperRun& run,
                              const winsim::explore::Disturbance& disturbance, winsim::explore::Report& report) {
    Fault fault;
    if (const auto* failed = std::get_if<FailedCall>(&disturbance)) {
        fault = {recording_of(story).find(failed->process, failed->call), failed->error};
    }
    const std::string wrong = wrong_after_failure(recovery, run, fault);
    if (wrong.empty() || fault.call == nullptr) return wrong;
    if (!winsim::explore::is_denial(fault.call->name, fault.error)) return wrong;
    report.tolerated(fault.call->name + " was believed: " + wrong, story + ":" + text_of(disturbance));
    return wrong_after_denial(recovery, run, fault);
}

}  // namespace interruption
