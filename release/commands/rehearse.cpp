#include "release/rehearsal/rehearse.h"

#include <memory>

#include "release/commands/commands.h"

namespace vandrel_release {

void add_rehearse(CLI::App& app, Action& action) {
    struct Given {
        RehearsalOptions options;
        bool json = false;
    };
    const auto given = std::make_shared<Given>();
    RehearsalOptions& options = given->options;
    CLI::App* command =
        app.add_subcommand("rehearse", "Let the update of each old release happen on a simulated player's machine");
    command->footer(
        "The helper's own code runs against this tree, with the key and the endpoint that each release's helper was\n"
        "built with: an update, then a cancel, a lost server and a full disk in the middle of it. Nothing is written.");
    command->add_option("--tree", options.tree, "The tree of releases")->required();
    command->add_option("--to", options.to, "The release to rehearse, current or a draft")->required();
    command->add_option("--from", options.from,
                        "The old release; may be repeated (default: each other one in the tree)");
    command->add_flag("--json", given->json, "Print the report as JSON");
    command->callback([given, &action] {
        action = [given](const Console& console) {
            const Rehearsal rehearsal = rehearse(given->options);
            if (given->json) {
                print_json(rehearsal, console.out);
            } else {
                print(rehearsal, console.out);
            }
            print_failures(rehearsal, console.err);
            return rehearsal.held() ? 0 : 1;
        };
    });
}

}  // namespace vandrel_release
