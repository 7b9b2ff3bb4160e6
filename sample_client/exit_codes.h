#pragma once

namespace sample_client {

// How the client ended. Whoever scripts it (the demo, the tests) tells the endings apart by these numbers.
enum ExitCode : int {
    kHandedOver = 0,      // "handoff" was read and the client has closed itself; also: a start that was only noted
    kBadUsage = 2,        // a switch that isn't known or has a bad value; nothing was started
    kCurrent = 10,        // the helper's last state: "current"
    kCancelled = 11,      // the helper's last state: "cancelled"
    kError = 12,          // the helper's last state: "error"
    kHelperMissing = 13,  // the helper could not be started, or a file of the profile could not be written
    kHelperDied = 14,     // every process of the helper has ended, and none of the states above was written
    kHelperSilent = 15,   // the helper lives, but was given up: it has not said anything new for too long
};

}  // namespace sample_client
