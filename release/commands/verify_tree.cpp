#include <memory>
#include <ostream>

#include "release/commands/commands.h"
#include "release/going_live.h"
#include "release/progress.h"

namespace vandrel_release {

void add_verify_tree(CLI::App& app, Action& action) {
    const auto given = std::make_shared<VerifyTreeOptions>();
    VerifyTreeOptions& options = *given;
    CLI::App* command = app.add_subcommand("verify-tree", "Read every release of a tree again and prove it");
    command->footer("Names every difference from what was signed. Changes nothing.");
    command->add_option("--tree", options.tree, "The tree")->required();
    command->add_option("--key", options.public_key,
                        "The public key that all must verify with (PEM; default: each release's public.pem)");
    command->callback([given, &action] {
        action = [given](const Console& console) {
            given->progress = terminal_of(console.err);
            for (const VerifiedRelease& release : verify_tree(*given)) {
                console.out << "release " << release.release << ": " << release.file_count << " files, "
                            << release.size_bytes << " bytes, as signed" << (release.is_current ? ", current\n" : "\n");
            }
            return 0;
        };
    });
}

}  // namespace vandrel_release
