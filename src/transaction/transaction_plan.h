// What a transaction is, and the rules on which every file of this folder rests.
//
// A transaction takes the client's folder from the files that stand there to the files of one signed release. Its
// record is kept twice, byte for byte alike: the staging record tags a folder as a transaction's; the active record
// says that files of the client may stand half way. What follows from that, cited by number in code and tests:
//
// (1) No file of the client changes before the active record is durable under its name.
// (2) A file is overwritten only by a rename that keeps the other version on disk: the old one as the backup, or the
//     new one while the backup takes its place.
// (3) The active record goes only when every file of the plan has been proved new, or been put back, from the disk. Its
//     removal is the commit of an install and the end of a roll-back.
// (4) While an active record stands, the only way is back. Nothing finishes an interrupted install, and no release is
//     put on top of one.
// (5) What a file is, is told from the disk by size and SHA-256, each time anew, and never remembered: so each step may
//     be repeated, and an interrupted roll-back needs nothing but to be run again.
// (6) A file that is neither the old nor the new version is never overwritten and never deleted. The work stops there.
// (7) Nothing is deleted on its looks. A transaction's folder goes when its own transaction ends, or when a genuine
//     signed record in it says what it is and it is a day old.
// (8) Guards against redirection and escape are asked directly before each use of a path, whatever has been asked
// before. (9) Backups and staged files are needed only while the active record stands: it goes before they do.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "manifest/manifest.h"

namespace vandrel {

// One file that a transaction writes.
struct PlanEntry {
    std::uint32_t manifest_index = 0;  // of its new version in manifest.entries
    bool existed = false;              // something stood there when the plan was made; else the file is new
    ManifestEntry prior;  // what stood there: size and digest, zeros for a new file; the path is the new version's
};

// One transaction. Moved, never copied, as its manifest is.
struct TransactionPlan {
    std::wstring job_id;  // 32 hexadecimal characters
    Manifest manifest;
    std::vector<PlanEntry> files;  // in the order of manifest.entries
};

}  // namespace vandrel
