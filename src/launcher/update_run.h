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
// process closed, the lock released and its handle closed, in this order. Failure texts of its own:
//   "Hash da pasta falhou.", "Criar trava de atualizacao (N)...", "Outro atualizador esta usando esta pasta.",
//   "Abrir processo do cliente (N)...", "PID nao pertence ao backend desta pasta."
int run_update(LaunchOptions& options);

// The phases of a run; each has its file. `client_process` is the proved client, or null where there is none.

// An ordinary run, from the manifest to the client's "apply", and on to the temporary copy or the apply phase. Changes
// nothing in the client's folder itself. Failure "cancelled", "Arquivo local nao pode ser verificado.", and the texts
// of the manifest's fetch, parse and policy, of sha256_of_file and of the wait.
void check_phase(LaunchOptions& options, HANDLE client_process);

// The way back of an interrupted installation, with the client's consent and without a server. Failure: the texts of
// read_file_bounded, parse_transaction, the waits, ensure_no_other_client, roll_back_transaction; the record stays.
void recovery_branch(LaunchOptions& options, HANDLE client_process);

// Stages every file of an authorised plan, hands over, installs and starts the client again. Any failure from the first
// download on ends in the roll-back, if the active record stands, or else the discard of the transaction, and in the
// restart of a client that has closed for the update; then it is raised again.
void apply_phase(const LaunchOptions& options, const TransactionPlan& plan, HANDLE client_process);

}  // namespace vandrel
