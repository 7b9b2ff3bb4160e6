// The command line of vandrel-release.
#pragma once

#include <iosfwd>

namespace vandrel_release {

// Runs one command. Results go to `out`; each refusal, failure or usage error to `err`, as one printable line
// "vandrel-release: ...". Returns the exit code, which the command's help tells: 0, 1 for a refusal or failure, 2 for a
// usage error, 3 and 4 as `verify` has them.
int run_command_line(int argc, const char* const* argv, std::ostream& out, std::ostream& err);

}  // namespace vandrel_release
