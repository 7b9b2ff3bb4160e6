#include "release/rehearsal/rehearse.h"

#include <memory>
#include <ostream>
#include <sstream>

#include "release/commands/commands.h"
#include "release/files.h"

namespace vandrel_release {
namespace {

void save_page(const Rehearsal& rehearsal, const std::filesystem::path& file) {
    std::ostringstream page;
    write_page(rehearsal, page);
    replace_file(file, page.str(), 0644);
}

int report(const RehearsalOptions& options, bool json, const std::filesystem::path& page, const Console& console) {
    const Rehearsal rehearsal = rehearse(options);
    if (!page.empty()) save_page(rehearsal, page);
    if (json) {
        write_json(rehearsal, console.out);
    } else {
        write_text(rehearsal, console.out);
    }
    write_failures(rehearsal, console.err);
    return rehearsal.held() ? 0 : 1;
}

int show(const RehearsalOptions& options, const std::string& line, const Console& console) {
    const std::string wrong = replay(options, line);
    console.out << (wrong.empty() ? "whole" : wrong) << '\n';
    return wrong.empty() ? 0 : 1;
}

}  // namespace

void add_rehearse(CLI::App& app, Action& action) {
    struct Given {
        RehearsalOptions options;
        bool json = false;
        std::string replay;
        std::filesystem::path page;
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
    command->add_option("--line", options.line_mbits, "How fast the player's line is, in Mbit/s")
        ->check(CLI::Range(1U, 1000000U))
        ->capture_default_str();
    CLI::Option* cuts =
        command
            ->add_option("--cuts", options.lives,
                         "Cut the power in the middle, too: everywhere if the update is small, else 200 times by\n"
                         "chance, or as often as is said")
            ->expected(0, 1);
    command->add_option("--replay", given->replay, "Show one case of the power cuts once more, by its line");
    command->add_option("--html", given->page, "Write the report as a page, too, in this file");
    command->add_flag("--json", given->json, "Print the report as JSON");
    command->callback([given, cuts, &action] {
        given->options.cuts = cuts->count() != 0;
        action = [given](const Console& console) {
            return given->replay.empty() ? report(given->options, given->json, given->page, console)
                                         : show(given->options, given->replay, console);
        };
    });
}

}  // namespace vandrel_release
