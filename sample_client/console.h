#pragma once

#include <string>

#include "status_document.h"

namespace sample_client {

// Output is UTF-8 with plain line feeds, and every line is flushed: a script that reads the pipe sees it at once.
void prepare_console();
void print_line(const std::string& line);

// `downloading        42% [############..................] Baixando arquivos verificados... (release 7, 3 files)`
std::string status_line(const StatusDocument& status);

// Shows a document unless it reads like the one shown before.
class StatusView {
 public:
    void show(const StatusDocument& status);

 private:
    std::string last_line_;
};

// Asks until the answer is y or n. An input that has ended counts as n.
bool ask_player(const std::string& question);

}  // namespace sample_client
