// What must be true of a disk, whatever has happened to it. Each check gives what is wrong in one line, or nothing.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/interruption/story.h"
#include "winsim/explore/picture.h"

namespace interruption {

using winsim::explore::Picture;

// Every file and folder on the disk that isn't the helper's own.
Picture picture_of(const winsim::Disk& disk);
Picture picture_of(const Snapshot& disk);

// The folder and all that surrounds it are exactly as in `before`: contents, names, spellings, times, attributes. Only
// empty folders that were made for new files may have come in addition.
std::string not_as_before(const Picture& before, const Picture& now);

// The folder's managed files are exactly the release's; everything else, and each file that was the release's already,
// is as in `before`. `rewritten`: such a file may have been written once more.
std::string not_updated(const Picture& before, std::uint32_t release, const Picture& now, bool rewritten = false);

// One of both.
std::string neither_old_nor_new(const Picture& before, std::uint32_t release, const Picture& now);

// Each managed file by itself is as before, or the release's, or missing; everything else is as before.
std::string foreign_content(const Picture& before, std::uint32_t release, const Picture& now);

// What the helper has left of itself on the disk must be in the list of what the rules leave: directly after a run
// that ended by itself; or, `a_day_later`, after a run with work to do that came when everything else was more than
// 24 hours old.
std::string unexpected_leftover(const winsim::Disk& disk, int run, bool a_day_later);

bool has_active_record(const winsim::Disk& disk);

// The paths of the folder without which nobody can start the client or the helper, or which the helper demands of a
// complete folder: those that are missing.
std::vector<std::wstring> missing_to_start(const winsim::Disk& disk);

}  // namespace interruption
