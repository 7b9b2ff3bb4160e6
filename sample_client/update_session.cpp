#include "update_session.h"

#include <windows.h>

#include <map>

namespace sample_client {
namespace {

constexpr DWORD kPoll_ms = 50;

}  // namespace

ExitCode UpdateSession::follow() {
    vandrel_status status{};
    while (true) {
        if (vandrel_poll(update_, &status) && status.state != VANDREL_STARTING) {
            if (!vandrel_is_last(status.state) || status.state <= VANDREL_ERROR) view_.show(status);
            act_on(status);
        }
        if (vandrel_is_last(status.state)) return finish(status.state);
        // A client that has just called everything off stays: the helper still hears a cancel while it waits for the
        // end.
        if (status.state == VANDREL_HANDOFF && !options_.stay && !cancelled_) return close_for_handoff();
        hear_player();
        Sleep(kPoll_ms);
    }
}

void UpdateSession::act_on(const vandrel_status& status) {
    if (!cancelled_ && state_name(status.state) == options_.cancel_at) answer(VANDREL_CANCEL);
    if (status.state == VANDREL_UPDATE_AVAILABLE && !answered_ && !cancelled_) answer_offer(status);
}

void UpdateSession::answer_offer(const vandrel_status& status) {
    answered_ = true;
    if (options_.answer == Answer::kApply) answer(VANDREL_APPLY);
    if (options_.answer == Answer::kCancel) answer(VANDREL_CANCEL);
    if (options_.answer == Answer::kAsk) {
        question_.emplace(std::string(status.detail) + " " + std::to_string(status.pending_files) +
                          " files. Go ahead?");
    }
}

void UpdateSession::hear_player() {
    const std::optional<bool> reply = question_ ? question_->answer() : std::nullopt;
    if (!reply) return;
    question_.reset();
    answer(*reply ? VANDREL_APPLY : VANDREL_CANCEL);
}

// An answer that can't be written is told, and the helper's own limit ends the job.
void UpdateSession::answer(vandrel_command command) {
    cancelled_ = command == VANDREL_CANCEL;
    const vandrel_result result = vandrel_answer(update_, command);
    print_line(result != VANDREL_OK       ? vandrel_result_text(result)
               : command == VANDREL_APPLY ? "the client answers: apply"
                                          : "the client answers: cancel");
}

ExitCode UpdateSession::close_for_handoff() const {
    Sleep(options_.linger_ms);
    print_line("the client closes for the update");
    return kHandedOver;
}

ExitCode UpdateSession::finish(vandrel_state last_state) const {
    static const std::map<vandrel_state, ExitCode> kCodes{{VANDREL_CURRENT, kCurrent},
                                                          {VANDREL_CANCELLED, kCancelled},
                                                          {VANDREL_ERROR, kError},
                                                          {VANDREL_DIED, kHelperDied},
                                                          {VANDREL_SILENT, kHelperSilent}};
    if (last_state == VANDREL_DIED) print_line("the helper has ended without a last state");
    if (last_state == VANDREL_SILENT) print_line("the helper has been silent for too long: given up");
    while (options_.wait_ended && vandrel_helper_is_running(update_) == 1) Sleep(kPoll_ms);
    return kCodes.at(last_state);
}

bool wait_for_last_word(vandrel_update* update, vandrel_status& status) {
    while (vandrel_poll(update, &status), !vandrel_is_last(status.state)) Sleep(kPoll_ms);
    return status.state <= VANDREL_ERROR;
}

}  // namespace sample_client
