#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "release/commands/commands.h"
#include "release/commands/json_output.h"
#include "release/compare.h"
#include "release/manifest_file.h"
#include "release/refusal.h"

namespace vandrel_release {
namespace {

constexpr std::size_t kLargest = 10;

struct DiffOptions {
    std::filesystem::path before;
    std::filesystem::path after;
    bool json = false;
};

void print_lines(const char* what, const std::vector<Change>& changes, std::ostream& out) {
    for (const Change& change : changes) {
        const ReleaseFile& file = change.after != nullptr ? *change.after : *change.before;
        out << what << ' ' << file.size << ' ' << printable(file.path) << '\n';
    }
}

void print_comparison(std::uint32_t before, std::uint32_t after, const Comparison& found, std::ostream& out) {
    print_lines("added", found.added, out);
    print_lines("changed", found.changed, out);
    print_lines("stays", found.gone, out);
    print_lines("largest", largest_fetched(found, kLargest), out);
    out << "release " << before << " to " << after << ": " << found.added.size() << " added, " << found.changed.size()
        << " changed, " << found.gone.size() << " gone but staying with players, " << found.unchanged << " unchanged; "
        << found.fetch_bytes << " bytes to download\n";
}

JsonList list_of(const char* name, const std::vector<Change>& changes) {
    return {name, changes.size(), [&changes](std::size_t i) {
                const auto& [before, after] = changes[i];
                Json entry{{"path", after != nullptr ? after->path : before->path}};
                if (before != nullptr) entry["size_before"] = before->size;
                if (after != nullptr) entry["size"] = after->size;
                return entry;
            }};
}

void print_comparison_json(std::uint32_t before, std::uint32_t after, const Comparison& found, std::ostream& out) {
    const std::vector<Change> largest = largest_fetched(found, kLargest);
    write_json(
        out,
        {{"before", before}, {"after", after}, {"unchanged", found.unchanged}, {"download_bytes", found.fetch_bytes}},
        {list_of("added", found.added), list_of("changed", found.changed), list_of("staying", found.gone),
         list_of("largest", largest)});
}

}  // namespace

void add_diff(CLI::App& app, Action& action) {
    const auto given = std::make_shared<DiffOptions>();
    DiffOptions& options = *given;
    CLI::App* command = app.add_subcommand("diff", "Compare two releases: what their players will download");
    command->footer(
        "Each is a manifest, a release's folder or a tree (its current release); signatures are not checked. A "
        "release\n"
        "deletes nothing: what it no longer lists stays with the players.");
    command->add_option("before", options.before, "The release that players have")->required();
    command->add_option("after", options.after, "The release that they will have")->required();
    command->add_flag("--json", options.json, "Print one JSON object");
    command->callback([given, &action] {
        action = [given](const Console& console) {
            const Listing before = read_manifest(given->before).listing;
            const Listing after = read_manifest(given->after).listing;
            const Comparison found = compare(before.files, after.files);
            (given->json ? print_comparison_json : print_comparison)(before.release, after.release, found, console.out);
            return 0;
        };
    });
}

}  // namespace vandrel_release
