#include <memory>
#include <ostream>

#include "release/commands/commands.h"
#include "release/commands/release_option.h"
#include "release/going_live.h"

namespace vandrel_release {
namespace {

struct PruneCommand : PruneOptions {
    std::uint32_t unsigned_release = 0;  // 0: none
};

int run_prune(const PruneCommand& options, std::ostream& out) {
    if (options.unsigned_release != 0) {
        discard_unsigned(options.tree, options.unsigned_release);
        out << "removed release " << options.unsigned_release << ", which waited for its signature\n";
        return 0;
    }
    if (options.keep == 0) throw CLI::RequiredError("--keep or --unsigned");
    for (const Pruned& pruned : prune(options)) {
        out << (options.only_show ? "would remove release " : "removed release ") << pruned.release
            << ", out of use since " << pruned.unused_since << '\n';
    }
    return 0;
}

}  // namespace

void add_prune(CLI::App& app, Action& action) {
    const auto given = std::make_shared<PruneCommand>();
    PruneCommand& options = *given;
    CLI::App* command = app.add_subcommand("prune", "Remove old releases from a tree");
    command->footer(
        "The current release always stays. A player who is in the middle of a download needs the release whose\n"
        "manifest was current when it began.");
    command->add_option("--tree", options.tree, "The tree")->required();
    CLI::Option* keep = command->add_option("--keep", options.keep, "How many releases with the highest numbers stay");
    keep->check(CLI::Range(1U, 4294967295U));
    CLI::Option* only_show = command->add_flag("--dry-run", options.only_show, "Only show what would be removed");
    add_release_option(*command, options.unsigned_release, "--unsigned")
        ->description("Remove this release, which waits for its signature, and no other")
        ->excludes(keep)
        ->excludes(only_show);
    command->callback(
        [given, &action] { action = [given](const Console& console) { return run_prune(*given, console.out); }; });
}

}  // namespace vandrel_release
