#include "transaction/install.h"

#include <windows.h>

#include "base/failure.h"
#include "handshake/process_inspection.h"
#include "manifest/digests.h"
#include "safefs/file_system.h"
#include "safefs/path_guards.h"
#include "safefs/small_files.h"
#include "safefs/windows_path.h"
#include "transaction/recovery_record.h"
#include "transaction/transaction_store.h"

namespace vandrel {

namespace {

const ManifestEntry& new_version(const TransactionPlan& plan, const PlanEntry& file) {
    return plan.manifest.entries[file.manifest_index];
}

// Nothing has changed yet: the staged file is the release's, and the target is what the plan found.
void check_before_install(const LaunchOptions& options, const ManifestEntry& entry, const PlanEntry& file,
                          const TransactionPaths& paths) {
    require_destination(options.client_root, paths.target);
    require_destination(options.client_root, paths.staged);
    std::wstring unused;
    require(file_matches_entry(paths.staged, entry, unused), L"Arquivo preparado nao confere antes da instalacao.");
    const bool unchanged = file.existed ? file_matches_entry(paths.target, file.prior, unused) : !exists(paths.target);
    require(unchanged, L"Cliente mudou durante o download; nenhuma alteracao aplicada.");
}

// (1): from here on any start takes the transaction back.
void publish_record(const LaunchOptions& options, const TransactionPlan& plan) {
    const SerializedTransaction record = serialize_transaction(plan);
    write_file_atomic(options.client_root, active_record_path(options), record.pieces());
}

// (2): one rename that makes the backup and brings the new file. The texts are composed before the calls.
void replace_file(const LaunchOptions& options, const PlanEntry& file, const TransactionPaths& paths) {
    ensure_safe_directory(parent_path(paths.target));
    ensure_safe_directory(parent_path(paths.backup));
    require_destination(options.client_root, paths.target);
    require_destination(options.client_root, paths.backup);
    if (file.existed) {
        const std::wstring text = system_error_text(L"Substituir arquivo com backup", GetLastError());
        require(ReplaceFileW(paths.target.c_str(), paths.staged.c_str(), paths.backup.c_str(),
                             REPLACEFILE_WRITE_THROUGH, nullptr, nullptr) != 0,
                text);
    } else {
        // Never replaces: a file that has appeared meanwhile is not ours to overwrite (6).
        const std::wstring text = system_error_text(L"Instalar arquivo novo", GetLastError());
        require(MoveFileExW(paths.staged.c_str(), paths.target.c_str(), MOVEFILE_WRITE_THROUGH) != 0, text);
    }
}

void prove_installed(const ManifestEntry& entry, const TransactionPaths& paths) {
    std::wstring unused;
    require(file_matches_entry(paths.target, entry, unused), L"Verificacao final do arquivo instalado falhou.");
}

}  // namespace

void install_transaction(const LaunchOptions& options, const TransactionPlan& plan) {
    const std::wstring folder = transaction_folder(options, plan);
    ensure_no_other_client(options);
    for (const PlanEntry& file : plan.files) {
        const ManifestEntry& entry = new_version(plan, file);
        check_before_install(options, entry, file, transaction_paths(options, folder, entry));
    }
    publish_record(options, plan);
    for (const PlanEntry& file : plan.files) {
        replace_file(options, file, transaction_paths(options, folder, new_version(plan, file)));
    }
    for (const PlanEntry& file : plan.files) {
        const ManifestEntry& entry = new_version(plan, file);
        prove_installed(entry, transaction_paths(options, folder, entry));
    }
    remove_managed_file(options.client_root, active_record_path(options));  // (3): the commit
    try {
        discard_transaction(options, plan);
    } catch (...) {  // the update is installed; the folder waits for the sweep
    }
}

void remove_managed_file(const std::wstring& root, const std::wstring& file) {
    require_destination(root, file);
    if (!exists(file)) return;
    const std::wstring text = system_error_text(L"Remover arquivo gerenciado", GetLastError());
    require(DeleteFileW(file.c_str()) != 0, text);
}

void require_destination(const std::wstring& root, const std::wstring& target) {
    std::wstring error;
    if (!validate_download_destination(root, target, error)) throw Failure(std::move(error));
}

}  // namespace vandrel
