// The only way out of the active state but the commit: back.
#pragma once

#include "run/launch_options.h"
#include "transaction/transaction_plan.h"

namespace vandrel {

// Takes every file of the plan back to what it was, from the last to the first, whatever the install got to: each
// file's state is told from the disk (transaction_plan.h, (5)), so that an interrupted roll-back is simply run again.
//
// A replaced file:                           A new file:
//   backup         target          then        target          then
//   absent         prior           leave       missing         leave
//   absent         other, missing  refuse      the release's   remove
//   prior          new             restore     other           refuse
//   prior          prior           restore
//   prior          missing         restore
//   prior          other           refuse
//   other          not looked at   refuse
//
// Returns: every file is its old version, new ones are gone (folders made for them stay, empty), the active record and
// the transaction's folder are gone. Throws: the refused file, the files before it in the plan, the backups and the
// record stand as they are; the files after it are old. Failure:
//   "Identificador de transacao invalido.", the refusals of validate_download_destination,
//   "Arquivo novo alterado externamente; recuperacao interrompida.", "Backup de recuperacao nao confere.",
//   "Arquivo alterado externamente; recuperacao interrompida.", "Arquivo anterior sem backup valido.",
//   "Restaurar arquivo anterior (N)...", with N the last error from before the call, "Remover arquivo gerenciado
//   (N)..."; with the files restored and the record gone, those of discard_transaction
// or std::system_error. Power cut: run it again.
void roll_back_transaction(const LaunchOptions& options, const TransactionPlan& plan);

}  // namespace vandrel
