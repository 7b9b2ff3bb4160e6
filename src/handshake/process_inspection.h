// Whether a program runs from a given place on disk.
#pragma once

#include <windows.h>

#include <string>

#include "run/launch_options.h"

namespace vandrel {

// The rights on a process that the helper asks for: to wait for it and to learn its image.
inline constexpr DWORD kProcessAccess = SYNCHRONIZE | PROCESS_QUERY_LIMITED_INFORMATION;

// The path that the process's executable was started from, 32767 units at most, as QueryFullProcessImageNameW spells
// it. On false `image` is empty and the last error is the query's.
bool query_image_path(HANDLE process, std::wstring& image);

// With `match_folder`: whether a process named like one of the client's four executables runs directly from the folder
// `reference`. Without: whether a process runs from exactly the file `reference`. Names are compared without ASCII
// case, paths by same_folder. Only processes of a matching name are opened; one that has ended isn't running. An
// inspection that can't finish is never a "no". Changes nothing. Failure:
//   "Consultar processos (N)..."                           no snapshot of the processes
//   "Nao foi possivel verificar outro processo do cliente."  a process can't be opened, and not because it is gone
//   "Nao foi possivel verificar caminho de processo."      its image can't be asked for
// and the std::system_error "absolute" of same_folder.
bool find_running_process(const std::wstring& reference, bool match_folder);

// Failure "Outro cliente desta pasta esta aberto. Feche-o e tente novamente." if a client of this folder runs; what
// find_running_process throws.
void ensure_no_other_client(const LaunchOptions& options);

}  // namespace vandrel
