#include <memory>
#include <nlohmann/json.hpp>
#include <ostream>

#include "release/commands/commands.h"
#include "release/commands/passphrase_options.h"
#include "release/commands/release_option.h"
#include "release/progress.h"
#include "release/publish.h"
#include "release/refusal.h"

namespace vandrel_release {
namespace {

struct PublishCommand : PublishOptions {
    bool json = false;
};

void print_text(const PublishOptions& options, const PublishReport& report, std::ostream& out) {
    for (const std::string& path : report.skipped) out << "skipped " << printable(path) << '\n';
    for (const std::string& note : report.notes) out << "note: " << note << '\n';
    if (!report.digest_to_sign.empty()) {
        out << "release " << options.release << " waits for its signature: sign "
            << printable(options.unsigned_file.string()) << ", SHA-256 " << report.digest_to_sign << '\n';
        return;
    }
    out << (options.current == MakeCurrent::yes ? "published release " : "kept as a draft: release ") << options.release
        << ": " << report.file_count << " files, " << report.size_bytes << " bytes, manifest " << report.manifest_bytes
        << " bytes\n";
}

void print_publication_json(const PublishOptions& options, const PublishReport& report, std::ostream& out) {
    nlohmann::ordered_json json{{"release", options.release},
                                {"current", report.digest_to_sign.empty() && options.current == MakeCurrent::yes},
                                {"files", report.file_count},
                                {"bytes", report.size_bytes},
                                {"manifest_bytes", report.manifest_bytes}};
    if (report.digest_to_sign.empty()) json["manifest_sha256"] = report.manifest_sha256;
    if (!report.digest_to_sign.empty()) json["digest_to_sign"] = report.digest_to_sign;
    json["skipped"] = nlohmann::ordered_json::array();
    for (const std::string& path : report.skipped) json["skipped"].push_back(printable(path));
    json["notes"] = report.notes;
    out << json.dump(2) << '\n';
}

void add_allowances(CLI::App& command, Allowances& allowed) {
    command.add_option("--url", allowed.url, "Refuse a helper in the release that asks another endpoint than this one");
    command.add_option("--helper-key", allowed.helper_key,
                       "The public key (PEM) that the helper in the release must hold, if not the one that signs the\n"
                       "release: for the release that brings players a new key");
    command.add_flag("--new-key", allowed.new_key, "Accept another key than the current release is signed with");
    command.add_flag("--without-helper", allowed.without_helper, "Accept a release that brings no helper");
    command.add_flag(
        "--allow-kind-change", allowed.kind_change,
        "Accept a file where a release of the tree has a folder, or the other way round: whoever has that\n"
        "release cannot install this one");
    command.add_flag("--allow-development-key", allowed.development_key,
                     "Accept the key that comes with the sources, for trials");
}

}  // namespace

void add_publish(CLI::App& app, Action& action) {
    const auto given = std::make_shared<PublishCommand>();
    PublishCommand& options = *given;
    CLI::App* command =
        app.add_subcommand("publish", "Sign a client folder as a release and make it the current one of a tree");
    command->footer(
        "Every file of the folder becomes part of the release. What the helper would refuse to install is refused "
        "here,\n"
        "all at once, with the helper's own reasons; what isn't part of a release must be named with --skip.");
    command->add_option("--folder", options.folder, "The complete client folder")->required();
    add_release_option(*command, options.release)->required();
    CLI::Option* key = command->add_option("--key", options.key, "The private key (PEM); \"-\" is the standard input");
    CLI::Option* unsigned_file = command->add_option(
        "--unsigned", options.unsigned_file,
        "Instead of a key: write what is to be signed to this new file, and its SHA-256 (32 bytes) to another\n"
        "with \".sha256\" behind its name; the release waits in the tree for attach-signature");
    CLI::Option* public_key =
        command->add_option("--public", options.public_key, "With --unsigned: the public key (PEM)");
    key->excludes(unsigned_file);
    unsigned_file->needs(public_key);
    public_key->needs(unsigned_file);
    add_passphrase_options(*command, options.passphrase);
    command->add_option("--tree", options.tree, "The tree to serve; made if it doesn't exist")->required();
    command->add_option("--arch", options.arch, "Channel")->capture_default_str();
    command->add_option("--client", options.clients,
                        "Client executable that must be able to take the release; may be repeated (default: each of\n"
                        "brindler_dx_x64.exe and brindler_gl_x64.exe that the folder holds)");
    command->add_option(
        "--skip", options.skip_patterns,
        "Leave out what matches: a path, or a pattern in which * stands for anything, \"/\" too, and ? for one\n"
        "character; a folder goes with all that it holds; may be repeated");
    command->add_flag_callback(
        "--draft", [given] { given->current = MakeCurrent::no; }, "Do not make it the current release yet");
    add_allowances(*command, options.allowed);
    command->add_flag("--json", options.json, "Print the result as JSON");
    command->add_flag("--allow-older", options.allow_older, "Accept a number below the newest one in the tree");
    command->callback([given, &action] {
        action = [given](const Console& console) {
            if (given->key.empty() && given->unsigned_file.empty()) throw CLI::RequiredError("--key or --unsigned");
            given->progress = terminal_of(console.err);
            const PublishReport report = publish(*given);
            warn_of_exposed_key(given->key, console.err);
            (given->json ? print_publication_json : print_text)(*given, report, console.out);
            return 0;
        };
    });
}

}  // namespace vandrel_release
