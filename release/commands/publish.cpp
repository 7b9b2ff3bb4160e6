#include <memory>
#include <ostream>

#include "release/commands/commands.h"
#include "release/commands/passphrase_options.h"
#include "release/commands/release_option.h"
#include "release/publish.h"
#include "release/refusal.h"

namespace vandrel_release {
namespace {

void print_report(const PublishOptions& options, const PublishReport& report, std::ostream& out) {
    for (const std::string& path : report.skipped) out << "skipped " << printable(path) << '\n';
    for (const std::string& note : report.notes) out << "note: " << note << '\n';
    if (!report.digest_to_sign.empty()) {
        out << "release " << options.release << " waits for its signature: sign "
            << printable(options.unsigned_file.string()) << ", SHA-256 " << report.digest_to_sign << '\n';
        return;
    }
    out << "published release " << options.release << ": " << report.file_count << " files, " << report.size_bytes
        << " bytes, manifest " << report.manifest_bytes << " bytes\n";
}

}  // namespace

void add_publish(CLI::App& app, Action& action) {
    const auto given = std::make_shared<PublishOptions>();
    PublishOptions& options = *given;
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
    command->add_flag("--allow-older", options.allow_older, "Accept a number below the newest one in the tree");
    command->callback([given, &action] {
        action = [given](const Console& console) {
            if (given->key.empty() && given->unsigned_file.empty()) throw CLI::RequiredError("--key or --unsigned");
            const PublishReport report = publish(*given);
            warn_of_exposed_key(given->key, console.err);
            print_report(*given, report, console.out);
            return 0;
        };
    });
}

}  // namespace vandrel_release
