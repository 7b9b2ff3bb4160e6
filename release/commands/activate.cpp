#include <memory>
#include <ostream>

#include "release/commands/commands.h"
#include "release/commands/release_option.h"
#include "release/going_live.h"
#include "release/progress.h"

namespace vandrel_release {

void add_activate(CLI::App& app, Action& action) {
    const auto given = std::make_shared<ActivateOptions>();
    ActivateOptions& options = *given;
    CLI::App* command = app.add_subcommand("activate", "Make a release of a tree the one that players get");
    command->footer(
        "Takes a draft live, or an older release back to live. Its files and its signature are proved first; the\n"
        "private key isn't needed.");
    add_release_argument(*command, options.release)->required();
    command->add_option("--tree", options.tree, "The tree that holds it")->required();
    command->add_option("--public", options.public_key,
                        "The public key that it must verify with (PEM; default: that of the current release)");
    command->callback([given, &action] {
        action = [given](const Console& console) {
            given->progress = terminal_of(console.err);
            activate(*given);
            console.out << "release " << given->release << " is current\n";
            return 0;
        };
    });
}

}  // namespace vandrel_release
