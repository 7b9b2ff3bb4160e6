#include <memory>
#include <ostream>

#include "release/commands/commands.h"
#include "release/going_live.h"

namespace vandrel_release {

void add_prune(CLI::App& app, Action& action) {
    const auto given = std::make_shared<PruneOptions>();
    PruneOptions& options = *given;
    CLI::App* command = app.add_subcommand("prune", "Remove old releases from a tree");
    command->footer(
        "The current release always stays. A player who is in the middle of a download needs the release whose\n"
        "manifest was current when it began.");
    command->add_option("--tree", options.tree, "The tree")->required();
    command->add_option("--keep", options.keep, "How many releases with the highest numbers stay")
        ->required()
        ->check(CLI::Range(1U, 4294967295U));
    command->add_flag("--dry-run", options.only_show, "Only show what would be removed");
    command->callback([given, &action] {
        action = [given](const Console& console) {
            for (const Pruned& pruned : prune(*given)) {
                console.out << (given->only_show ? "would remove release " : "removed release ") << pruned.release
                            << ", out of use since " << pruned.unused_since << '\n';
            }
            return 0;
        };
    });
}

}  // namespace vandrel_release
