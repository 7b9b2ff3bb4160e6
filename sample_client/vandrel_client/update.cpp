// The C interface: each function catches what the C++ behind it throws.

#include <windows.h>

#include <algorithm>
#include <cstring>

#include "client_error.h"
#include "command_file.h"
#include "helper_run.h"
#include "status_document.h"

using namespace vandrel_client;

struct vandrel_update {
    JobFiles files;
    HelperRun helper;
    bool attached = false;
    uint32_t patience_ms = 0;              // 0: that of each state
    StatusDocument last;                   // as it was read last; its state is VANDREL_STARTING before that
    vandrel_state end = VANDREL_STARTING;  // VANDREL_DIED or VANDREL_SILENT, once given up
    bool was_seen_dead = false;            // the status is read once more before that counts
    uint64_t silent_ms = 0;                // for how long `last` hasn't changed
    uint64_t polled_at_ms = GetTickCount64();
    bool is_told = false;  // the caller knows it
};

namespace {

constexpr uint32_t kAttachedPatience_ms = 10000;
constexpr uint64_t kLongestPause_ms = 1000;

// Runs `action`, and gives what it throws as a result, with the system's reason as the last error.
template <typename Action>
vandrel_result guarded(Action action) {
    try {
        action();
        return VANDREL_OK;
    } catch (const ClientError& error) {
        SetLastError(error.system_error);
        return error.result;
    } catch (const std::exception&) {
        SetLastError(ERROR_SUCCESS);
        return VANDREL_FAILED;
    }
}

// The environment is the helper's, too, so it is told before the start.
void start_helper(vandrel_update& update, bool without_group) {
    remember_job(update.files);
    try {
        update.helper = HelperRun(update.files, without_group);
    } catch (...) {
        forget_job();
        throw;
    }
}

uint32_t patience_of(const vandrel_update& update) {
    return update.patience_ms != 0 ? update.patience_ms : vandrel_patience_ms(update.last.state);
}

void look_at_status(vandrel_update& update) {
    const auto status = read_status(update.files.status, update.files.job);
    if (!status || *status == update.last) return;
    update.last = *status;
    update.silent_ms = 0;
    update.is_told = false;
}

// Time in which nobody has looked, or the machine has slept, says nothing of the helper.
void count_silence(vandrel_update& update) {
    const uint64_t now_ms = GetTickCount64();
    update.silent_ms += std::min(now_ms - update.polled_at_ms, kLongestPause_ms);
    update.polled_at_ms = now_ms;
}

void give_up(vandrel_update& update, vandrel_state end) {
    update.end = end;
    update.is_told = false;
    if (end == VANDREL_SILENT) vandrel_answer(&update, VANDREL_CANCEL);
}

// A helper that has ended may have written its last state after this look at it: so its death counts at the second.
void look_at_helper(vandrel_update& update) {
    if (vandrel_is_last(update.last.state)) return;
    if (update.helper.is_running() == 0) {
        if (update.was_seen_dead) return give_up(update, VANDREL_DIED);
        update.was_seen_dead = true;
    } else if (update.silent_ms > patience_of(update)) {
        give_up(update, VANDREL_SILENT);
    }
}

void fill(const vandrel_update& update, vandrel_status& status) {
    const bool is_given_up = update.end != VANDREL_STARTING;
    status.state = is_given_up ? update.end : update.last.state;
    status.progress = std::clamp(update.last.progress, 0, 100);
    status.release = update.last.release;
    status.pending_files = update.last.pending_files;
    const size_t length = is_given_up ? 0 : std::min<size_t>(update.last.detail.size(), VANDREL_DETAIL_BYTES - 1);
    std::memcpy(status.detail, update.last.detail.data(), length);
    status.detail[length] = '\0';
}

}  // namespace

vandrel_result vandrel_start(const vandrel_start_options* options, vandrel_update** update) {
    if (update != nullptr) *update = nullptr;
    return guarded([&] {
        if (options == nullptr || options->profile == nullptr || update == nullptr) {
            throw ClientError(VANDREL_BAD_ARGUMENT, 0);
        }
        auto made = std::make_unique<vandrel_update>();
        made->patience_ms = options->patience_ms;
        made->files = open_job(options->profile, options->job != nullptr ? options->job : "");
        remove_finished_jobs(made->files.folder);
        start_helper(*made, options->without_group != 0);
        *update = made.release();
    });
}

vandrel_result vandrel_attach(vandrel_update** update) {
    if (update != nullptr) *update = nullptr;
    return guarded([&] {
        if (update == nullptr) throw ClientError(VANDREL_BAD_ARGUMENT, 0);
        std::string profile;
        std::string job;
        if (!take_remembered_job(profile, job)) throw ClientError(VANDREL_NO_JOB, 0);
        auto made = std::make_unique<vandrel_update>();
        made->attached = true;
        made->patience_ms = kAttachedPatience_ms;
        made->files = open_job(profile, job);
        *update = made.release();
    });
}

int vandrel_poll(vandrel_update* update, vandrel_status* status) {
    if (update == nullptr || status == nullptr) return 0;
    guarded([&] {
        if (update->end != VANDREL_STARTING) return;
        count_silence(*update);
        look_at_status(*update);
        look_at_helper(*update);
    });
    fill(*update, *status);
    const bool is_news = !update->is_told;
    update->is_told = true;
    return is_news ? 1 : 0;
}

vandrel_result vandrel_answer(vandrel_update* update, vandrel_command command) {
    return guarded([&] {
        const bool is_command = command == VANDREL_APPLY || command == VANDREL_CANCEL;
        if (update == nullptr || update->attached || !is_command) throw ClientError(VANDREL_BAD_ARGUMENT, 0);
        write_command(update->files, command == VANDREL_APPLY ? "apply" : "cancel");
    });
}

int vandrel_helper_is_running(const vandrel_update* update) {
    return update == nullptr ? -1 : update->helper.is_running();
}

void vandrel_close(vandrel_update* update) {
    delete update;
}

const char* vandrel_job(const vandrel_update* update) {
    return update->files.job.c_str();
}

const char* vandrel_profile(const vandrel_update* update) {
    return update->files.profile.c_str();
}

int vandrel_is_last(vandrel_state state) {
    return state >= VANDREL_CURRENT ? 1 : 0;
}

uint32_t vandrel_patience_ms(vandrel_state state) {
    constexpr uint32_t kMinute_ms = 60000;
    switch (state) {
        case VANDREL_STARTING:
            return kMinute_ms / 2;
        case VANDREL_UPDATE_AVAILABLE:  // the helper itself waits for 30 minutes
            return 35 * kMinute_ms;
        case VANDREL_HANDOFF:  // and here for two
            return 5 * kMinute_ms;
        default:
            return 20 * kMinute_ms;
    }
}

const char* vandrel_result_text(vandrel_result result) {
    switch (result) {
        case VANDREL_OK:
            return "done";
        case VANDREL_BAD_ARGUMENT:
            return "a profile, a job or a pointer that can't be meant";
        case VANDREL_WRONG_CLIENT_NAME:
            return "this client is named neither brindler_dx_x64.exe nor brindler_gl_x64.exe";
        case VANDREL_NO_HELPER:
            return "the helper could not be started";
        case VANDREL_NO_PROFILE:
            return "the profile's folder could not be made";
        case VANDREL_NO_COMMAND:
            return "the answer could not be written";
        case VANDREL_NO_JOB:
            return "no helper has started this client";
        case VANDREL_FAILED:
            break;
    }
    return "memory or the system's random source gave out";
}
