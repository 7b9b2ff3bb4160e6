// The one stretch of the program that changes the client's files.
#pragma once

#include <string>

#include "run/launch_options.h"
#include "transaction/transaction_plan.h"

namespace vandrel {

// Puts a completely staged plan in place. Precondition: the client has authorised it and has exited, and the caller
// holds the folder's lock.
// Returns: every file of the plan is its new version, proved from the disk; the active record is gone; the
// transaction's folder is gone unless removing it failed.
// Throws before the active record is published, which is its third step, behind the search for other clients and the
// look at every staged file and target: no client file has been touched. Failure:
//   "Identificador de transacao invalido.", the texts of ensure_no_other_client,
//   the refusals of validate_download_destination, "Arquivo preparado nao confere antes da instalacao.",
//   "Cliente mudou durante o download; nenhuma alteracao aplicada.", "Registro de recuperacao excede limite.",
//   the texts of write_file_atomic
// Throws after it: the record stands and roll_back_transaction is due. Failure:
//   the texts of ensure_safe_directory, the refusals of validate_download_destination,
//   "Substituir arquivo com backup (N)...", "Instalar arquivo novo (N)...", with N the last error from before the call,
//   "Verificacao final do arquivo instalado falhou.", "Remover arquivo gerenciado (N)..."
// or std::system_error. Power cut: as one of these, or complete; see transaction_plan.h (1) to (3).
void install_transaction(const LaunchOptions& options, const TransactionPlan& plan);

// Removes the file at `file`, which lies under `root`; a missing one is no failure. Failure: the refusals of
// validate_download_destination, "Remover arquivo gerenciado (N)..." with N the last error from before the deletion.
// Not flushed: after a power cut the file may be back.
void remove_managed_file(const std::wstring& root, const std::wstring& file);

// Failure with its text unless validate_download_destination holds.
void require_destination(const std::wstring& root, const std::wstring& target);

}  // namespace vandrel
