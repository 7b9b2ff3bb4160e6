#include "handshake/handoff_waits.h"
#include "handshake/process_inspection.h"
#include "handshake/status_file.h"
#include "launcher/process_start.h"
#include "launcher/temporary_helper.h"
#include "launcher/update_run.h"
#include "safefs/small_files.h"
#include "transaction/recovery_record.h"
#include "transaction/roll_back.h"
#include "transaction/transaction_store.h"

namespace vandrel {

void recovery_branch(LaunchOptions& options, HANDLE client_process) {
    const TransactionPlan plan =
        parse_transaction(read_file_bounded(active_record_path(options), kLargestRecord), options);
    options.release = plan.manifest.release;
    options.file_count = plan.files.size();
    write_status(options, L"update_available", 0, L"Uma instalacao interrompida precisa ser restaurada.");
    wait_for_authorization(options, client_process);
    if (!options.relocated) {
        // The helper's own file may be one of those to put back.
        relocate_to_temporary_helper(options);
        return;
    }
    write_status(options, L"handoff", 100, L"Fechando cliente para restaurar arquivos anteriores...");
    wait_for_client_exit(options, client_process);
    ensure_no_other_client(options);
    roll_back_transaction(options, plan);
    write_status(options, L"current", 100, L"Versao anterior restaurada. Tente atualizar novamente quando desejar.");
    relaunch_client(options, true);
}

}  // namespace vandrel
