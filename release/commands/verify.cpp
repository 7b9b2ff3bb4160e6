#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "release/client_folder.h"
#include "release/commands/commands.h"
#include "release/commands/json_output.h"
#include "release/key_file.h"
#include "release/manifest_file.h"
#include "release/refusal.h"
#include "release/release_check.h"
#include "release/release_policy.h"
#include "release/tree.h"

namespace vandrel_release {
namespace {

constexpr int kWouldUpdate = 3;
constexpr int kConflict = 4;

struct VerifyOptions {
    std::filesystem::path manifest;
    std::filesystem::path public_key;
    std::filesystem::path folder;
    std::vector<std::string> clients;
    bool json = false;
};

// What the helper would do.
struct Outlook {
    std::uint32_t release = 0;
    std::size_t files = 0;
    std::vector<std::string> conflicts;  // "PATH: WORDS", or words for the release as a whole
    struct Fetched {
        const ReleaseFile* file;
        const char* state;  // "missing" or "changed"
    };
    std::vector<Fetched> fetched;
    std::uint64_t fetch_bytes = 0;

    int exit_code() const { return !conflicts.empty() ? kConflict : !fetched.empty() ? kWouldUpdate : 0; }
};

Outlook foresee(const VerifyOptions& options, const ManifestFile& manifest) {
    const std::vector<ReleaseFile>& files = manifest.listing.files;
    Outlook outlook{manifest.listing.release, files.size(), {}, {}, 0};
    outlook.conflicts = texts_of(policy_refusals(files, outlook.release, std::string(kArch), options.clients), files);
    if (!outlook.conflicts.empty()) return outlook;  // it would not look at the folder
    const std::vector<FileVerdict> verdicts = judge_folder(options.folder, files);
    for (std::size_t i = 0; i < files.size(); ++i) {
        const FileState state = verdicts[i].state;
        if (state == FileState::conflict) {
            outlook.conflicts.push_back(printable(files[i].path) + ": " + verdicts[i].words);
        }
        if (state != FileState::missing && state != FileState::changed) continue;
        outlook.fetched.push_back({&files[i], state == FileState::missing ? "missing" : "changed"});
        outlook.fetch_bytes += files[i].size;
    }
    return outlook;
}

void print_outlook(const Outlook& outlook, std::ostream& out) {
    for (const std::string& conflict : outlook.conflicts) out << "conflict " << conflict << '\n';
    for (const Outlook::Fetched& fetched : outlook.fetched) {
        out << fetched.state << ' ' << printable(fetched.file->path) << '\n';
    }
    out << "release " << outlook.release << ": ";
    if (!outlook.conflicts.empty()) {
        out << "the helper would refuse it\n";
    } else if (outlook.fetched.empty()) {
        out << "the folder is current, " << outlook.files << " files\n";
    } else {
        out << outlook.fetched.size() << " of " << outlook.files << " files would be downloaded, "
            << outlook.fetch_bytes << " bytes\n";
    }
}

void print_outlook_json(const Outlook& outlook, std::ostream& out) {
    const char* verdict = !outlook.conflicts.empty() ? "conflict" : outlook.fetched.empty() ? "current" : "update";
    write_json(out,
               {{"release", outlook.release},
                {"verdict", verdict},
                {"files", outlook.files},
                {"download_bytes", outlook.fetch_bytes}},
               {{"conflicts", outlook.conflicts.size(), [&](std::size_t i) { return Json(outlook.conflicts[i]); }},
                {"downloads", outlook.fetched.size(), [&](std::size_t i) {
                     const Outlook::Fetched& fetched = outlook.fetched[i];
                     return Json{{"path", fetched.file->path}, {"size", fetched.file->size}, {"state", fetched.state}};
                 }}});
}

}  // namespace

void add_verify(CLI::App& app, Action& action) {
    const auto given = std::make_shared<VerifyOptions>();
    VerifyOptions& options = *given;
    CLI::App* command = app.add_subcommand("verify", "Foresee what the helper would do to a client folder");
    command->footer(
        "Ends with 0 if the folder is current, 3 if files would be downloaded, 4 if the helper would refuse the "
        "release\n"
        "or what stands in the folder, 1 if the manifest can't be believed. Changes nothing.");
    command->add_option("--manifest", options.manifest, "The manifest, or a tree: that of its current release")
        ->required();
    command->add_option("--key", options.public_key, "The public key that must have signed it (PEM)")->required();
    command->add_option("--folder", options.folder, "The client folder")->required();
    command->add_option("--client", options.clients,
                        "Executable that the client runs with; may be repeated (default: each that the release holds)");
    command->add_flag("--json", options.json, "Print one JSON object");
    command->callback([given, &action] {
        action = [given](const Console& console) {
            const Key key = load_public_key(given->public_key);
            require_client_names(given->clients, std::string(kArch));
            const ManifestFile manifest = read_manifest(given->manifest);
            if (!is_signed_with(key, manifest.bytes)) {
                throw Refusal(printable(manifest.path.string()) + " is not signed with the key in " +
                              printable(given->public_key.string()));
            }
            const Outlook outlook = foresee(*given, manifest);
            (given->json ? print_outlook_json : print_outlook)(outlook, console.out);
            return outlook.exit_code();
        };
    });
}

}  // namespace vandrel_release
