#include "transaction/transaction_store.h"

#include "base/age.h"
#include "base/failure.h"
#include "run/places.h"
#include "safefs/file_system.h"
#include "safefs/path_guards.h"
#include "safefs/small_files.h"
#include "safefs/text_encoding.h"
#include "safefs/windows_path.h"
#include "transaction/recovery_record.h"

namespace vandrel {

namespace {

std::wstring store_path(const LaunchOptions& options) {
    return join(options.client_root, kStoreFolder);
}

// An entry of the store that looks like a transaction's folder and holds a record of 24 hours or more.
bool may_be_stale(const DirectoryEntry& entry, const std::wstring& record) {
    if (!is_job_identifier(entry.name)) return false;
    if (!is_directory(entry) || !path_prefixes_free_of_reparse(entry.path)) return false;
    if (!exists(record) || !path_prefixes_free_of_reparse(record)) return false;
    const std::uint64_t written = last_write_time(record);
    return has_reached_age(written, system_time(), kStaleAgeMs);
}

// (7): the folder goes on proof alone. Any failure costs this one folder its turn.
void discard_if_proved(const LaunchOptions& options, const DirectoryEntry& entry, const std::wstring& record) {
    try {
        const TransactionPlan plan = parse_transaction(read_file_bounded(record, kLargestRecord), options);
        if (plan.job_id == fold_case(entry.name)) discard_transaction(options, plan);
    } catch (...) {  // it stays, for a later run
    }
}

}  // namespace

std::wstring active_record_path(const LaunchOptions& options) {
    return join(store_path(options), kActiveRecord);
}

std::wstring transaction_folder(const LaunchOptions& options, const TransactionPlan& plan) {
    require(is_job_identifier(plan.job_id), L"Identificador de transacao invalido.");
    return join(store_path(options), plan.job_id);
}

TransactionPaths transaction_paths(const LaunchOptions& options, const std::wstring& folder,
                                   const ManifestEntry& entry) {
    const std::wstring relative = utf8_to_wide(entry.path);
    return {join(options.client_root, relative), join(join(folder, kStagedFiles), relative),
            join(join(folder, kBackupFiles), relative)};
}

void discard_transaction(const LaunchOptions& options, const TransactionPlan& plan) {
    const std::wstring folder = transaction_folder(options, plan);
    if (!exists(folder)) return;
    require(path_prefixes_free_of_reparse(folder), L"Diretorio de transacao redirecionado.");
    walk_tree(folder, [](const DirectoryEntry& entry) {
        require(path_prefixes_free_of_reparse(entry.path), L"Arquivo temporario redirecionado.");
    });
    remove_all(folder);
}

void sweep_stale_transactions(const LaunchOptions& options) {
    const std::wstring store = store_path(options);
    if (!exists(store)) return;
    if (exists(active_record_path(options)) || !path_prefixes_free_of_reparse(store)) return;
    int looked_at = 0;
    for (DirectoryIterator entries(store); !entries.at_end(); entries.advance()) {
        if (++looked_at > kMostSweptEntries) break;
        const std::wstring record = join(entries.entry().path, kStagingRecord);
        if (may_be_stale(entries.entry(), record)) discard_if_proved(options, entries.entry(), record);
    }
}

}  // namespace vandrel
