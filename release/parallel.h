// Work on many files at once: as the exploration works on many cases.
#pragma once

#include "winsim/explore/parallel.h"

namespace vandrel_release {

using winsim::explore::for_each_index;

}  // namespace vandrel_release
