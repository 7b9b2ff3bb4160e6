// The temporary copy of the helper, which does the work: the helper's own file is one of those that a release replaces.
//
// A copy stands at <temporary folder>\VandrelUpdater\<job>\Vandrel Updater.exe, whatever the running file is called. It
// stays behind after its run, and goes when a later first instance finds it a day old and not running.
#pragma once

#include <string>

#include "run/launch_options.h"

namespace vandrel {

// Full path of the running executable, 32767 units at most. Failure "Nao foi possivel identificar o atualizador.".
std::wstring own_executable_path();

// The user's temporary folder as GetTempPathW reports it, trailing separator included; false if there is none.
bool find_temporary_folder(std::wstring& folder);

// <temporary folder>\VandrelUpdater\<job>\Vandrel Updater.exe
std::wstring temporary_helper_path(const std::wstring& temporary_folder, const std::wstring& job_id);

// Clears the copies of jobs long past away (remove_stale_helpers, whatever comes of it), then copies the running
// executable to its temporary place and starts it there, without waiting. A copy that already stands there is never
// overwritten. Changes nothing in the client's folder. Failure:
//   "TEMP indisponivel.", the texts of ensure_safe_directory, "Nao foi possivel identificar o atualizador.",
//   "Preparar auxiliar temporario (N)..." with N the last error from before own_executable_path, those of
//   launch_process
// or a std::system_error. A copy that was made stays; it is not flushed, and a power cut may leave any part of it.
void relocate_to_temporary_helper(const LaunchOptions& options);

// The arguments of a helper instance for the same job, beginning with a blank; `relocated` adds what only the temporary
// copy is told. Texts are quoted such that the platform's splitting gives them back.
std::wstring build_helper_arguments(const LaunchOptions& options, bool relocated);

// Removes the copies of jobs long past: 24 hours since the file's last write, and no process running from it. Looks at
// the first 256 entries of the folder of copies, if that folder and the way to it are free of reparse points. Nothing
// but a copy, and its folder if it is empty then, is deleted; what was deleted before a failure is gone. Throws
// std::system_error and the texts of find_running_process.
void remove_stale_helpers();

}  // namespace vandrel
