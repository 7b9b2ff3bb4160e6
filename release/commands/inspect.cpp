#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "manifest/digests.h"
#include "release/commands/commands.h"
#include "release/commands/json_output.h"
#include "release/copying.h"
#include "release/key_file.h"
#include "release/manifest_file.h"
#include "release/refusal.h"
#include "release/release_check.h"
#include "release/release_policy.h"
#include "release/tree.h"

namespace vandrel_release {
namespace {

namespace fs = std::filesystem;

struct InspectOptions {
    fs::path what;
    fs::path public_key;
    bool json = false;
};

// What is told of one manifest.
struct Summary {
    std::uint32_t release = 0;
    std::size_t files = 0;
    std::uint64_t bytes = 0;
    std::size_t manifest_bytes = 0;
    std::string sha256;
    std::string signature;  // "valid", "invalid" or "not checked"
};

Summary summarise(const ManifestFile& manifest, const Key& key) {
    const std::vector<ReleaseFile>& files = manifest.listing.files;
    Summary summary;
    summary.release = manifest.listing.release;
    summary.files = files.size();
    summary.bytes = total_size(files);
    summary.manifest_bytes = manifest.bytes.size();
    summary.sha256 = vandrel::hex_lower(sha256_of(manifest.bytes));
    summary.signature = !key ? "not checked" : is_signed_with(key, manifest.bytes) ? "valid" : "invalid";
    return summary;
}

Json json_of(const Summary& summary) {
    return {{"release", summary.release},
            {"files", summary.files},
            {"bytes", summary.bytes},
            {"manifest_bytes", summary.manifest_bytes},
            {"manifest_sha256", summary.sha256},
            {"signature", summary.signature}};
}

std::string text_of(const Summary& summary) {
    return "release " + std::to_string(summary.release) + ": " + std::to_string(summary.files) + " files, " +
           std::to_string(summary.bytes) + " bytes, manifest " + std::to_string(summary.manifest_bytes) +
           " bytes, SHA-256 " + summary.sha256 + ", signature " + summary.signature;
}

Json json_of(const ReleaseFile& file) {
    return {{"path", file.path}, {"size", file.size}, {"sha256", vandrel::hex_lower(file.sha256)}};
}

int inspect_manifest(const InspectOptions& options, const Key& key, std::ostream& out) {
    ManifestFile manifest = read_manifest(options.what);
    const std::vector<ReleaseFile>& files = manifest.listing.files;
    const Summary summary = summarise(manifest, key);
    std::string().swap(manifest.bytes);  // a large one would be there twice; "= {}" keeps its memory
    const std::vector<PolicyRefusal> refusals =
        policy_refusals(files, manifest.listing.release, std::string(kArch), {});
    if (options.json) {
        write_json(out, json_of(summary),
                   {{"refusals", refusals.size(), [&](std::size_t i) { return Json(refusals[i].text(files)); }},
                    {"entries", files.size(), [&](std::size_t i) { return json_of(files[i]); }}});
    } else {
        out << text_of(summary) << '\n';
        for (const PolicyRefusal& refusal : refusals) out << "refused by the helper: " << refusal.text(files) << '\n';
        for (const ReleaseFile& file : files) {
            out << vandrel::hex_lower(file.sha256) << ' ' << file.size << ' ' << printable(file.path) << '\n';
        }
    }
    return summary.signature == "invalid" ? 1 : 0;
}

// One release of a tree.
struct Found {
    std::uint32_t release = 0;
    std::optional<Summary> summary;
    std::string damage;  // without a summary
};

Found look_at(const fs::path& tree, std::uint32_t release, const Key& key) {
    try {
        return {release, summarise(read_manifest(release_folder(tree, release)), key), ""};
    } catch (const Refusal& refusal) {
        return {release, std::nullopt, refusal.what()};
    }
}

Json json_of(const Found& found) {
    return found.summary ? json_of(*found.summary) : Json{{"release", found.release}, {"damage", found.damage}};
}

int inspect_tree(const InspectOptions& options, const Key& key, std::ostream& out) {
    const std::optional<std::uint32_t> current = current_release(options.what);
    const std::vector<std::uint32_t> waiting = waiting_in(options.what);
    std::vector<Found> found;
    bool sound = true;
    for (const std::uint32_t release : releases_in(options.what)) {
        found.push_back(look_at(options.what, release, key));
        sound = sound && found.back().summary && found.back().summary->signature != "invalid";
    }
    if (options.json) {
        write_json(out, {{"current", current ? Json(*current) : Json()}, {"waiting", waiting}},
                   {{"releases", found.size(), [&](std::size_t i) { return json_of(found[i]); }}});
        return sound ? 0 : 1;
    }
    for (const Found& one : found) {
        out << (one.release == current ? "current " : "        ")
            << (one.summary ? text_of(*one.summary) : "release " + std::to_string(one.release) + ": " + one.damage)
            << '\n';
    }
    for (const std::uint32_t release : waiting) out << "        release " << release << ": waits for its signature\n";
    if (!current) out << "no release is current\n";
    return sound ? 0 : 1;
}

}  // namespace

void add_inspect(CLI::App& app, Action& action) {
    const auto given = std::make_shared<InspectOptions>();
    InspectOptions& options = *given;
    CLI::App* command = app.add_subcommand("inspect", "Show what a manifest lists, or which releases a tree holds");
    command->footer("A file is a manifest; a folder is a release's or a tree. Ends with 1 if a signature is invalid.");
    command->add_option("what", options.what, "Manifest or tree")->required();
    command->add_option("--key", options.public_key, "Check signatures with this public key (PEM)");
    command->add_flag("--json", options.json, "Print one JSON object");
    command->callback([given, &action] {
        action = [given](const Console& console) {
            const Key key = given->public_key.empty() ? Key() : load_public_key(given->public_key);
            const bool is_tree = fs::is_directory(channel_folder(given->what));
            return is_tree ? inspect_tree(*given, key, console.out) : inspect_manifest(*given, key, console.out);
        };
    });
}

}  // namespace vandrel_release
