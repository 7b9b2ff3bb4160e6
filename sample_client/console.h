#pragma once

#include <memory>
#include <optional>
#include <string>

#include "vandrel_client.h"

namespace sample_client {

// Output is UTF-8 with plain line feeds, and every line is flushed: a script that reads the pipe sees it at once.
void prepare_console();
void print_line(const std::string& line);

// The state as the status file names it, and "starting", "died" and "silent" for what no file says.
const char* state_name(vandrel_state state);

// The detail in one line.
std::string detail_line(const vandrel_status& status);

// `downloading        42% [############..................] Baixando arquivos verificados... (release 7, 3 files)`
std::string status_line(const vandrel_status& status);

// Shows a status unless it reads like the one shown before.
class StatusView {
 public:
    void show(const vandrel_status& status);

 private:
    std::string last_line_;
};

// One question to the player, asked until the answer is y or n. A thread of its own waits for the answer, so that the
// client goes on watching the helper meanwhile; it is left waiting when the process ends.
class Question {
 public:
    explicit Question(const std::string& question);

    // Nothing as long as the player hasn't answered. An input that has ended counts as n.
    std::optional<bool> answer() const;

 private:
    struct Reply;
    std::shared_ptr<Reply> reply_;
};

}  // namespace sample_client
