// The two moments at which the update needs the client: it has to say yes, and then it has to go away.
#pragma once

#include <windows.h>

#include <cstdint>

#include "run/launch_options.h"

namespace vandrel {

inline constexpr std::uint64_t kAuthorizationLimitMs = 1800000;  // 30 minutes
inline constexpr std::uint64_t kExitLimitMs = 120000;            // 2 minutes
inline constexpr DWORD kPollIntervalMs = 100;

// Both take the client's process, or null where there is none to watch, and poll the command file every 100 ms.

// Returns once the command is "apply", which is looked at before the process. Throws Failure "cancelled",
// "Cliente encerrou sem autorizar atualizacao." or, after 30 minutes, "Tempo de autorizacao esgotado.".
void wait_for_authorization(const LaunchOptions& options, HANDLE client_process);

// Returns once the client has ended and no cancellation stands. Throws Failure "cancelled" or, after 2 minutes,
// "Cliente nao encerrou; atualizacao preservada sem instalar.". A wait that fails polls on without a pause.
void wait_for_client_exit(const LaunchOptions& options, HANDLE client_process);

}  // namespace vandrel
