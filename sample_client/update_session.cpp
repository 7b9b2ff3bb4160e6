#include "update_session.h"

#include <map>

#include "command_file.h"
#include "text.h"

namespace sample_client {
namespace {

constexpr DWORD kPoll_ms = 50;

}  // namespace

UpdateSession::UpdateSession(const ClientOptions& options, const JobFiles& files)
    : options_(options), files_(files), helper_(files) {}

ExitCode UpdateSession::follow() {
    const std::string job = to_utf8(files_.job);
    while (true) {
        if (const auto status = read_status(files_.status, job)) {
            view_.show(*status);
            const Next next = act_on(*status);
            if (next == Next::kClose) return close_for_handoff();
            if (next == Next::kEnded) return finish(status->state);
        }
        if (helper_died()) {
            print_line("the helper has ended without a last state");
            return kHelperSilent;
        }
        Sleep(kPoll_ms);
    }
}

UpdateSession::Next UpdateSession::act_on(const StatusDocument& status) {
    if (status.state == "current" || status.state == "cancelled" || status.state == "error") return Next::kEnded;
    if (status.state == options_.cancel_at && !cancelled_) cancel();
    if (status.state == "update_available" && !answered_ && !cancelled_) answer_offer(status);
    // A client that has just called everything off stays: the helper still hears a cancel while it waits for the end.
    if (status.state == "handoff" && !options_.stay && !cancelled_) return Next::kClose;
    return Next::kGoOn;
}

void UpdateSession::answer_offer(const StatusDocument& status) {
    answered_ = true;
    Answer answer = options_.answer;
    if (answer == Answer::kNone) return;
    if (answer == Answer::kAsk) {
        const std::string files = std::to_string(status.pending_files);
        answer = ask_player(status.detail + " " + files + " files. Go ahead?") ? Answer::kApply : Answer::kCancel;
    }
    if (answer == Answer::kCancel) return cancel();
    write_command(files_, "apply");
    print_line("the client answers: apply");
}

void UpdateSession::cancel() {
    cancelled_ = true;
    write_command(files_, "cancel");
    print_line("the client answers: cancel");
}

bool UpdateSession::helper_died() {
    if (helper_.is_running()) return false;
    if (died_) return true;
    died_ = true;
    return false;
}

ExitCode UpdateSession::close_for_handoff() const {
    Sleep(options_.linger_ms);
    print_line("the client closes for the update");
    return kHandedOver;
}

ExitCode UpdateSession::finish(const std::string& last_state) const {
    static const std::map<std::string, ExitCode> kCodes{
        {"current", kCurrent}, {"cancelled", kCancelled}, {"error", kError}};
    while (options_.wait_ended && helper_.is_running()) Sleep(kPoll_ms);
    return kCodes.at(last_state);
}

}  // namespace sample_client
