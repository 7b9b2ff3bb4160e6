#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace sample_client {

// What the player answers when an update (or a restoration) is offered.
enum class Answer { kAsk, kApply, kCancel, kNone };

// The command line of the sample client. Values follow their switch after "=" or as the next argument.
struct ClientOptions {
    Answer answer = Answer::kAsk;  // --answer=ask|apply|cancel|none
    std::string cancel_at;         // --cancel-at=STATE: writes "cancel" when that state is first seen; empty: never
    std::string profile;           // --profile=NAME: folder beneath BrindlerQ3; empty: inherited or the default one
    std::string job;               // --job=HEX: 32 lower-case hexadecimal digits; empty: a fresh random one
    uint32_t linger_ms = 0;        // --linger=MS: time between reading "handoff" and closing, or of a --no-update run
    uint32_t patience_ms = 0;      // --patience=MS: how long the helper may be silent; 0: as long as the library says
    bool no_group = false;         // --no-group: the helper isn't put into a job object of the system
    bool stay = false;             // --stay: does not close on "handoff"; ends with the helper's last state
    bool no_update = false;        // --no-update: starts no helper; runs for --linger and ends with 0
    bool wait_ended = false;       // --wait-ended: after the last state, waits until no process of the helper is left
    bool recovered = false;        // --vandrel-update-recovered: the helper's own restart argument
    bool plain_start = true;       // no switch but possibly --vandrel-update-recovered was given
};

struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Takes the arguments without the program's name. Throws UsageError with one line that names the offending switch.
ClientOptions parse_client_options(const std::vector<std::wstring>& arguments);

}  // namespace sample_client
