// What the kit asks of a Windows, part by part. Each needs the folder place.work, in which nobody else works, and
// leaves nothing outside of it, nor a running program.
#pragma once

#include "lab/kit/answers.h"
#include "lab/kit/files.h"

namespace kit {

// Each program of the folder `probes` runs in C:\probe, for which it is made, and which is removed again. If C:\probe
// is there already nothing is run, and nothing touched.
void ask_probes(const Place& place, Report& report);

// Each folder that `interrupted` lists is laid out, the sample client started in it, which agrees to whatever it is
// offered, and the folder looked at when the last process has ended.
void ask_interrupted(const Place& place, Report& report);

// Libraries stand beside the helper under each name of planted.txt, in the client's folder and in its copy's, while
// both look for an update, and while an interrupted installation is taken back.
void ask_planted(const Place& place, Report& report);

}  // namespace kit
