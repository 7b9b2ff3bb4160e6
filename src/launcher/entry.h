// The helper's life from the command line to the exit code.
#pragma once

namespace vandrel {

// One run. Before anything else, the system is told to show no dialog of its own. 0: the client is current, was updated
// or restored, or the temporary copy has taken over. 1: a failure or a cancellation, which the status file tells, if
// there is one that may be written.
int run_helper();

}  // namespace vandrel
