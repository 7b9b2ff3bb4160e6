#include "release/commands/passphrase_options.h"

#include <optional>
#include <ostream>
#include <string>

#include "release/key_file.h"

namespace vandrel_release {

void add_passphrase_options(CLI::App& command, PassphraseSource& source) {
    CLI::Option* descriptor =
        command.add_option("--passphrase-fd", source.descriptor,
                           "Read the private key's passphrase from this file descriptor: its first line\n"
                           "(default: it is asked for at the terminal)");
    command.add_option("--passphrase-env", source.environment, "Take it from this environment variable")
        ->excludes(descriptor);
}

void warn_of_exposed_key(const std::filesystem::path& private_key, std::ostream& err) {
    if (const std::optional<std::string> exposure = exposure_of(private_key)) {
        err << "vandrel-release: warning: " << *exposure << '\n';
    }
}

}  // namespace vandrel_release
