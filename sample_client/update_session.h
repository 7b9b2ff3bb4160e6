#pragma once

#include <memory>
#include <optional>

#include "client_options.h"
#include "console.h"
#include "exit_codes.h"
#include "vandrel_client.h"

namespace sample_client {

struct UpdateCloser {
    void operator()(vandrel_update* update) const { vandrel_close(update); }
};
using Update = std::unique_ptr<vandrel_update, UpdateCloser>;

// One run of the helper as the client lives through it: show its states, answer, close when told to.
class UpdateSession {
 public:
    UpdateSession(const ClientOptions& options, vandrel_update* update) : options_(options), update_(update) {}

    // Follows the job until the client has to close or the job is over; gives the client's exit code.
    ExitCode follow();

 private:
    void act_on(const vandrel_status& status);
    void answer_offer(const vandrel_status& status);
    void hear_player();
    void answer(vandrel_command command);
    ExitCode close_for_handoff() const;
    ExitCode finish(vandrel_state last_state) const;

    const ClientOptions& options_;
    vandrel_update* update_;
    StatusView view_;
    std::optional<Question> question_;
    bool answered_ = false;   // an offer is answered once a job, though both instances of the helper write it
    bool cancelled_ = false;  // "cancel" stands in the command file
};

// For a client that the helper has started in the course of `update`: what became of that, once the helper has said it.
// False if it doesn't within moments.
bool wait_for_last_word(vandrel_update* update, vandrel_status& status);

}  // namespace sample_client
