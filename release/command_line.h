// The command line of vandrel-release.
#pragma once

#include <iosfwd>

namespace vandrel_release {

// Runs one command. Results go to `out`; a refusal, a failure or a usage error to `err`, as one line
// "vandrel-release: ...". Returns the exit code: 0, 1 for a refusal or failure, 2 for a usage error.
int run_command_line(int argc, const char* const* argv, std::ostream& out, std::ostream& err);

}  // namespace vandrel_release
