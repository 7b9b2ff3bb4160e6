// The stories that a rehearsal plays on one stage.
#pragma once

#include "release/rehearsal/report.h"
#include "release/rehearsal/stage.h"
#include "winsim/player/recovery.h"

namespace vandrel_release {

// The update as most players see it, then with a cancel, a lost server and a full disk in the middle of the download;
// behind each trouble the folder is as it was, and the next start brings the release. Fills in all but the cuts.
void play(Stage& stage, const player::Recovery& recovery, Part& part);

}  // namespace vandrel_release
