// The temporary copy of the helper, which does the work: the helper's own file is one of those that a release replaces.
//
// A copy stands at <temporary folder>\VandrelUpdater\<job>\Vandrel Updater.exe, whatever the running file is called. It
// stays behind after its run, and goes when a later first instance finds it a day old and not running.
#pragma once

#include <cstdint>
#include <string>

#include "launcher/launch_options.h"

namespace vandrel {

inline constexpr int kMostHelperEntries = 256;
inline constexpr std::uint64_t kStaleHelperTicks = 864000000000;  // 24 hours of 100 ns

// Full path of the running executable. Failure "Nao foi possivel identificar o atualizador.".
std::wstring own_executable_path();

// As GetTempPathW reports it; false if there is none.
bool find_temporary_folder(std::wstring& folder);
std::wstring temporary_helper_path(const std::wstring& temporary_folder, const std::wstring& job_id);

// Copies the running executable to its temporary place and starts it there, without waiting. A copy that already stands
// there is never overwritten. Changes nothing in the client's folder. Failure "TEMP indisponivel.", the texts of
// ensure_safe_directory, "Preparar auxiliar temporario (N)..." with N the last error from before the copy, those of
// launch_process. A copy that was made stays; it is not flushed.
void relocate_to_temporary_helper(const LaunchOptions& options);

// The arguments of a helper instance, beginning with a blank.
std::wstring build_helper_arguments(const LaunchOptions& options, bool relocated);

// Removes the copies of jobs long past: 24 hours since the file's last write, and no process running from it. Looks at
// the first 256 entries. Nothing but a copy, and its folder if it is empty then, is deleted. Throws file-system errors
// and the texts of find_running_process; callers drop them.
void remove_stale_helpers();

}  // namespace vandrel
