#include <filesystem>
#include <memory>

#include "release/commands/commands.h"
#include "release/signing_key.h"

namespace vandrel_release {
namespace {

struct KeygenOptions {
    std::filesystem::path private_file;
    std::filesystem::path public_file;
};

}  // namespace

void add_keygen(CLI::App& app, Action& action) {
    const auto given = std::make_shared<KeygenOptions>();
    KeygenOptions& options = *given;
    CLI::App* command = app.add_subcommand("keygen", "Make the key pair that signs releases: RSA, 3072 bits, PEM");
    command->footer(
        "Keep the private key off the server. The public key is built into the helper (VANDREL_PUBLIC_KEY).");
    command->add_option("--private", options.private_file, "New file for the private key (mode 0600)")->required();
    command->add_option("--public", options.public_file, "New file for the public key")->required();
    command->callback([given, &action] {
        action = [given](const Console&) {
            write_key_pair(given->private_file, given->public_file);
            return 0;
        };
    });
}

}  // namespace vandrel_release
