#include "transaction/roll_back.h"

#include <windows.h>

#include "base/failure.h"
#include "manifest/digests.h"
#include "safefs/file_system.h"
#include "transaction/install.h"
#include "transaction/transaction_store.h"

namespace vandrel {

namespace {

// A file that can't be read for its digest counts as not matching.
bool matches(const std::wstring& path, const ManifestEntry& entry) {
    std::wstring unused;
    return file_matches_entry(path, entry, unused);
}

void remove_new_file(const LaunchOptions& options, const ManifestEntry& entry, const TransactionPaths& paths) {
    if (!exists(paths.target)) return;
    require(matches(paths.target, entry), L"Arquivo novo alterado externamente; recuperacao interrompida.");
    remove_managed_file(options.client_root, paths.target);
}

void restore_backup(const ManifestEntry& entry, const ManifestEntry& prior, const TransactionPaths& paths) {
    require(matches(paths.backup, prior), L"Backup de recuperacao nao confere.");
    const bool accounted_for = !exists(paths.target) || matches(paths.target, entry) || matches(paths.target, prior);
    require(accounted_for, L"Arquivo alterado externamente; recuperacao interrompida.");
    const std::wstring text = system_error_text(L"Restaurar arquivo anterior", GetLastError());
    require(MoveFileExW(paths.backup.c_str(), paths.target.c_str(),
                        MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != 0,
            text);
}

void take_back(const LaunchOptions& options, const ManifestEntry& entry, const PlanEntry& file,
               const TransactionPaths& paths) {
    require_destination(options.client_root, paths.target);
    require_destination(options.client_root, paths.backup);
    if (!file.existed) {
        remove_new_file(options, entry, paths);
    } else if (exists(paths.backup)) {
        restore_backup(entry, file.prior, paths);
    } else {
        require(matches(paths.target, file.prior), L"Arquivo anterior sem backup valido.");
    }
}

}  // namespace

void roll_back_transaction(const LaunchOptions& options, const TransactionPlan& plan) {
    const std::wstring folder = transaction_folder(options, plan);
    for (auto file = plan.files.rbegin(); file != plan.files.rend(); ++file) {
        const ManifestEntry& entry = plan.manifest.entries[file->manifest_index];
        take_back(options, entry, *file, transaction_paths(options, folder, entry));
    }
    remove_managed_file(options.client_root, active_record_path(options));  // (3)
    discard_transaction(options, plan);                                     // (9)
}

}  // namespace vandrel
