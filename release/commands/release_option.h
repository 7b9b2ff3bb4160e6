// The number of a release on the command line.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>

namespace vandrel_release {

// Adds --release, or another option of that name. Anything but a number as parse_release_number takes it is a usage
// error.
CLI::Option* add_release_option(CLI::App& command, std::uint32_t& release, const char* name = "--release");

// The same without dashes, in its place behind the command.
CLI::Option* add_release_argument(CLI::App& command, std::uint32_t& release);

}  // namespace vandrel_release
