// What a transaction is, and the rules on which every file of this folder rests.
//
// DEFINITIONS
//
//   transaction      one attempt to bring the client's folder from the files that stand there to those of one release
//   plan             its list of files, each with its new version (signed) and its old one (as measured)
//   new, old         versions of a planned file; each is a size and a SHA-256, and nothing else
//   staged file      the new version, verified, under the transaction's folder, waiting to be renamed
//   backup           the old version, under the transaction's folder, put there by the rename that brought the new one
//   record           the plan as one document; kept twice, byte for byte alike (recovery_record.h)
//   staging record   says: this folder is a transaction's, begun at this time. Says nothing of the client's files
//   active record    says: files of the client may stand half way. There is at most one
//   commit           the removal of the active record after an install
//   durable          what a power cut at any later moment leaves in place
//
// STATES OF THE DISK, what may be trusted in each, and what leads on
//
//   state        active   client's files        trusted                         left by
//   -----------  -------  --------------------  ------------------------------  --------------------------------------
//   idle         no       all old (or all new)  the client's files              begin: staging record written
//   staging      no       all old               the client's files; a staged    install_transaction publishes the
//                                               file only once it is hashed     record; discard_transaction; or, a day
//                                               again                           later, sweep_stale_transactions
//   replacing    yes      each old, new, or     the record; of each file what   install_transaction proves all new and
//                         missing with its      size and SHA-256 say of it,     commits; else roll_back_transaction,
//                         backup standing       now; backups that match         at once or at any later start
//   restoring    yes      as above              as above                        roll_back_transaction, run to its end
//   committed    no       all new               the client's files              discard_transaction, or the sweep
//   restored     no       all old               the client's files              discard_transaction, or the sweep
//
//   "replacing" and "restoring" look alike on the disk, and need not be told apart: the way on is the same.
//
// RULES, cited by number in code, tests and documents
//
// (1) No file of the client changes before the active record is durable under its name.
// (2) A file is replaced by renames alone. At no moment is its old version without a name: it is at its place or it is
//     the backup. At no moment is a part of a version at its place: what stands there is wholly the old one, wholly the
//     new one, or nothing while the backup stands.
// (3) The active record goes only when every file of the plan has been proved new, or been put back, from the disk. Its
//     removal is the commit of an install and the end of a roll-back. Renames made before it are durable before it is:
//     this rests on a file system that makes changes of names durable in the order in which they were made.
// (4) While an active record stands, the only way is back. Nothing finishes an interrupted install, and no release is
//     put on top of one.
// (5) What a file is, is told from the disk by size and SHA-256, each time anew, and never remembered: so each step may
//     be repeated, and an interrupted roll-back needs nothing but to be run again.
// (6) A file that is neither old nor new as of the last look at it is not overwritten and not deleted: the work stops
//     there. The last look at a file to be replaced is the pre-flight of the install; at one to be put back, directly
//     before its rename; at a new one to be removed, directly before its deletion. An edit that falls between the last
//     look and the rename or deletion is lost: with the backup that it has become, when that is discarded; or at once.
// (7) Nothing is deleted on its looks. A transaction's folder goes when its own transaction ends, or when a genuine
//     signed record in it says what it is and it is a day old.
// (8) Guards against redirection and escape are asked anew, whatever has been asked before, though not each directly
//     before the use that it is for. How far each stands from it: before a replacement, target and backup are guarded
//     directly before the rename, the staged file in the pre-flight only; before a restoration, target and backup
//     before the looks that precede the rename; before a deletion of one file, directly before it, a part itself alone;
//     before that of a transaction's folder, all of the folder is looked through first, and each folder in it is held
//     in its place while it is emptied. docs/trust-model.md counts the calls between each look and its use.
// (9) Backups and staged files are needed only while the active record stands: it goes before they do. As (3), this
//     rests on the order in which changes of names become durable.
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
    ManifestEntry prior;               // what stood there: size and digest; zeros for a new file. Its path isn't set
};

// One transaction. Moved, never copied, as its manifest is.
struct TransactionPlan {
    std::wstring job_id;  // 32 hexadecimal characters
    Manifest manifest;
    std::vector<PlanEntry> files;  // in the order of manifest.entries
};

}  // namespace vandrel
