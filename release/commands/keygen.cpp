#include <filesystem>
#include <memory>
#include <optional>

#include "release/commands/commands.h"
#include "release/commands/passphrase_options.h"
#include "release/key_file.h"
#include "release/refusal.h"

namespace vandrel_release {
namespace {

struct KeygenOptions {
    std::filesystem::path private_file;
    std::filesystem::path public_file;
    PassphraseSource passphrase;
    bool unencrypted = false;
};

void make_keys(const KeygenOptions& options) {
    refuse_existing(options.private_file);  // before anybody is asked
    refuse_existing(options.public_file);
    std::optional<Passphrase> passphrase;
    if (!options.unencrypted) {
        if (!can_ask(options.passphrase)) {
            throw CLI::ValidationError(
                "there is no terminal to ask for a passphrase: --passphrase-fd, --passphrase-env or --unencrypted is "
                "required");
        }
        passphrase = choose_passphrase(options.passphrase, printable(options.private_file.string()));
    }
    write_key_pair(options.private_file, options.public_file, passphrase);
}

}  // namespace

void add_keygen(CLI::App& app, Action& action) {
    const auto given = std::make_shared<KeygenOptions>();
    KeygenOptions& options = *given;
    CLI::App* command = app.add_subcommand("keygen", "Make the key pair that signs releases: RSA, 3072 bits, PEM");
    command->footer(
        "Keep the private key off the server. The public key is built into the helper (VANDREL_PUBLIC_KEY).");
    command->add_option("--private", options.private_file, "New file for the private key (mode 0600)")->required();
    command->add_option("--public", options.public_file, "New file for the public key")->required();
    add_passphrase_options(*command, options.passphrase);
    command->add_flag("--unencrypted", options.unencrypted, "Leave the private key without a passphrase")
        ->excludes("--passphrase-fd")
        ->excludes("--passphrase-env");
    command->callback([given, &action] {
        action = [given](const Console&) {
            make_keys(*given);
            return 0;
        };
    });
}

}  // namespace vandrel_release
