#pragma once

#include <string>

namespace sample_client {

// Appends one line to `client-started.log` in the profile's folder, which is made if it isn't there:
//   <UTC time> pid=<number> job=<job, or "-" if it is empty> argument=<"--vandrel-update-recovered" or "-">
// and in the same line, with that argument, ` reason=<what was told of the last job, to the line's end>`.
// A profile that can't be written costs the line.
void note_start(const std::string& profile, const std::string& job, bool recovered, const std::string& reason);

}  // namespace sample_client
