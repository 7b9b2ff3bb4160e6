// The commands of vandrel-release, a file each: its options, its help, and what it does.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <iosfwd>

namespace vandrel_release {

// Where results go (`out`), and complaints and what is said meanwhile (`err`).
struct Console {
    std::ostream& out;
    std::ostream& err;
};

// What the chosen command does once its options are read: the exit code is what it returns. It throws std::exception
// for a refusal or a failure, which is exit code 1, and CLI::ParseError for options that don't go together, which is 2.
using Action = std::function<int(const Console&)>;

// Each adds its command to `app`. The one that the user has chosen sets `action` while its options are read.
void add_activate(CLI::App& app, Action& action);
void add_attach_signature(CLI::App& app, Action& action);
void add_diff(CLI::App& app, Action& action);
void add_inspect(CLI::App& app, Action& action);
void add_keygen(CLI::App& app, Action& action);
void add_publish(CLI::App& app, Action& action);
void add_prune(CLI::App& app, Action& action);
void add_rehearse(CLI::App& app, Action& action);
void add_serve(CLI::App& app, Action& action);
void add_verify(CLI::App& app, Action& action);
void add_verify_tree(CLI::App& app, Action& action);

}  // namespace vandrel_release
