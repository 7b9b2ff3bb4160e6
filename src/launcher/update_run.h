// The one routine that orders all others.
#pragma once

#include <windows.h>

#include "run/launch_options.h"
#include "transaction/transaction_plan.h"

namespace vandrel {

// How long the temporary copy waits for the lock that its parent holds to its end. The first instance doesn't wait.
inline constexpr DWORD kLockPatienceMs = 10000;

// One run on the client's folder, under the folder's lock: "checking", the proof of the client, then the check of an
// ordinary run or, where an active record stands, the recovery. Returns 0, the exit code, when the client is current,
// updated or restored, or the temporary copy has taken over. Everything else leaves as an exception, with the client's
// process closed, the lock released and its handle closed, in this order. Failure, beside what write_status and the two
// ways throw:
//   "Hash da pasta falhou."
//   "Criar trava de atualizacao (N)..."
//   "Outro atualizador esta usando esta pasta."   at once, or for the temporary copy after 10 s
//   "Abrir processo do cliente (N)..."
//   "PID nao pertence ao backend desta pasta."    its image is another's, or can't be asked for
// or the std::system_error "exists" or "absolute".
int run_update(LaunchOptions& options);

// The phases of a run; each has its file. `client_process` is the proved client, or null where there is none.

// An ordinary run, from the manifest to the client's "apply", and on to the temporary copy or the apply phase. Changes
// nothing in the client's folder itself. Failure:
//   the texts of fetch_manifest, parse_signed_manifest and validate_manifest_policy
//   "cancelled"                                 asked for in front of each entry, and while it waits
//   "Arquivo local nao pode ser verificado."    a file can't be measured, or is above 4 GiB
//   the text that the digest of an earlier file has left, in its place
//   the texts of write_status, of wait_for_authorization, of relocate_to_temporary_helper and of apply_phase
// or a std::system_error.
void check_phase(LaunchOptions& options, HANDLE client_process);

// The way back of an interrupted installation, with the client's consent and without a server. Failure: the texts of
// read_file_bounded, parse_transaction, write_status, the two waits, relocate_to_temporary_helper,
// ensure_no_other_client, roll_back_transaction and launch_process; or a std::system_error. As long as
// roll_back_transaction hasn't returned, the record stays.
void recovery_branch(LaunchOptions& options, HANDLE client_process);

// Stages every file of an authorised plan, hands over, installs and starts the client again. A failure to begin the
// transaction passes through and leaves what was made to the sweep. Any failure from the first download on ends in the
// roll-back, if the active record stands, or else the discard of the transaction, and in the restart of a client that
// has closed for the update; then it is raised again. A failure of the roll-back, or of the search for other clients
// before it, takes its place: then no client is started, and the record stays. Failure: "cancelled", and the texts of
// write_file_atomic, streaming_download, write_status, wait_for_client_exit, install_transaction and launch_process.
// Power cut: see transaction/transaction_plan.h.
void apply_phase(const LaunchOptions& options, const TransactionPlan& plan, HANDLE client_process);

}  // namespace vandrel
