// The two moments at which the update needs the client: it has to say yes, and then it has to go away.
#pragma once

#include <windows.h>

#include <cstdint>

#include "run/launch_options.h"

namespace vandrel {

inline constexpr std::uint64_t kAuthorizationLimitMs = 1800000;  // 30 minutes
inline constexpr std::uint64_t kExitLimitMs = 120000;            // 2 minutes
inline constexpr DWORD kPollIntervalMs = 100;

// Both take the client's process, or null where there is none to watch, look at the command file at once and every 100
// ms from then on, and change nothing on disk. Time is that of the tick counter. Nothing in the command file is a
// failure; the std::system_error "exists" of read_command passes through.

// Returns once the command is "apply". In each round the command is looked at first, then the process, then the time.
// A wait for the process that fails counts as its end. Failure:
//   "cancelled"
//   "Cliente encerrou sem autorizar atualizacao."
//   "Tempo de autorizacao esgotado."               30 minutes after the call, the limit itself included
void wait_for_authorization(const LaunchOptions& options, HANDLE client_process);

// Returns once the client has ended and no cancellation stands, which is asked once more behind the client's end. In
// each round the command is looked at first, then the process, for 100 ms, then the time. A wait for the process that
// fails polls on, without a pause. Failure:
//   "cancelled"
//   "Cliente nao encerrou; atualizacao preservada sem instalar."   2 minutes after the call, the limit itself included
void wait_for_client_exit(const LaunchOptions& options, HANDLE client_process);

}  // namespace vandrel
