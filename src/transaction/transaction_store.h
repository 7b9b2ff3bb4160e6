// Where a transaction lives: ".vandrel-updater" in the client's own folder, on the volume of the files it serves, so
// that every later step is a rename.
//
//   .vandrel-updater/active.transaction            at most one: see transaction_plan.h (1), (3), (4)
//   .vandrel-updater/<job>/staging.transaction     the same bytes: this folder is a transaction's, begun at its time
//   .vandrel-updater/<job>/files/<path>            the new files, verified
//   .vandrel-updater/<job>/backup/<path>           the old files, put there by the install
#pragma once

#include <string>

#include "run/launch_options.h"
#include "transaction/transaction_plan.h"

namespace vandrel {

std::wstring active_record_path(const LaunchOptions& options);

// Failure "Identificador de transacao invalido." unless the plan's job is 32 hexadecimal characters.
std::wstring transaction_folder(const LaunchOptions& options, const TransactionPlan& plan);

// The three places of one file of a plan, by its manifest entry. `folder` is the transaction's.
struct TransactionPaths {
    std::wstring target;  // in the client's folder
    std::wstring staged;
    std::wstring backup;
};
TransactionPaths transaction_paths(const LaunchOptions& options, const std::wstring& folder,
                                   const ManifestEntry& entry);

// Removes the transaction's folder with all that it holds; twice is harmless. The active record and the client's files
// are not touched. The whole folder is looked through before anything is deleted; Failure "Diretorio de transacao
// redirecionado." or "Arquivo temporario redirecionado." leaves it complete, std::system_error may
// leave a part of it. Not flushed: after a power cut any part of the folder may be back.
void discard_transaction(const LaunchOptions& options, const TransactionPlan& plan);

// Removes abandoned transaction folders among the store's first 256 entries: those whose staging record is 24 hours old
// or more, parses and verifies, and names its folder. Does nothing while an active record stands. A folder that fails
// stays; std::system_error where the listing or a record's time fails.
void sweep_stale_transactions(const LaunchOptions& options);

}  // namespace vandrel
