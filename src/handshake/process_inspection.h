// Whether a program runs from a given place on disk.
#pragma once

#include <string>

#include "launcher/launch_options.h"

namespace vandrel {

// With `match_folder`: whether a process named like one of the client's four executables runs directly from the folder
// `reference`. Without: whether a process runs from exactly the file `reference`. Only processes of a matching name are
// opened. An inspection that can't finish is never a "no"; Failure:
//   "Consultar processos (N)...", "Nao foi possivel verificar outro processo do cliente.",
//   "Nao foi possivel verificar caminho de processo."
bool find_running_process(const std::wstring& reference, bool match_folder);

// Failure "Outro cliente desta pasta esta aberto. Feche-o e tente novamente." if a client of this folder runs.
void ensure_no_other_client(const LaunchOptions& options);

// The rights on a process that the helper asks for: to wait for it and to learn its image.
inline constexpr std::uint32_t kProcessAccess = 0x101000;
inline constexpr std::size_t kImagePathUnits = 32768;

}  // namespace vandrel
