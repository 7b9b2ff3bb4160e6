#pragma once

#include "client_options.h"
#include "console.h"
#include "exit_codes.h"
#include "helper_run.h"
#include "profile.h"

namespace sample_client {

// One run of the helper as the client lives through it: start it, show its states, answer, close when told to.
class UpdateSession {
 public:
    // Starts the helper. Throws std::runtime_error if it can't be started.
    UpdateSession(const ClientOptions& options, const JobFiles& files);

    // Follows the status file until the client has to close or the helper has ended; gives the client's exit code.
    // Throws std::runtime_error if a command can't be written.
    ExitCode follow();

 private:
    enum class Next { kGoOn, kClose, kEnded };

    Next act_on(const StatusDocument& status);
    void answer_offer(const StatusDocument& status);
    void cancel();
    bool helper_died();
    ExitCode close_for_handoff() const;
    ExitCode finish(const std::string& last_state) const;

    const ClientOptions& options_;
    const JobFiles& files_;
    HelperRun helper_;
    StatusView view_;
    bool answered_ = false;   // an offer is answered once a job, though both instances of the helper write it
    bool cancelled_ = false;  // "cancel" stands in the command file
    bool died_ = false;       // the helper was seen dead once; the status is read once more before that counts
};

}  // namespace sample_client
