// The options that say where a private key's passphrase comes from, for every command that reads or makes one.
#pragma once

#include <CLI/CLI.hpp>
#include <filesystem>
#include <iosfwd>

#include "release/passphrase.h"

namespace vandrel_release {

// --passphrase-fd and --passphrase-env, which exclude each other.
void add_passphrase_options(CLI::App& command, PassphraseSource& source);

// One line to `err` if others can read the private key.
void warn_of_exposed_key(const std::filesystem::path& private_key, std::ostream& err);

}  // namespace vandrel_release
