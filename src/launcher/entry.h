// The helper's life from the command line to the exit code.
#pragma once

namespace vandrel {

// One run. 0: the client is current, was updated or restored, or the temporary copy has taken over. 1: a failure or a
// cancellation, which the status file tells, if there is one that may be written.
// Before anything else, the system is told to show no dialog of its own, and to look for libraries in its own folder
// alone. Nothing calls bcrypt, shell32 or winhttp before that: their first call loads them.
int run_helper();

}  // namespace vandrel
