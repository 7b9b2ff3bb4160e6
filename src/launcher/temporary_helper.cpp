#include "launcher/temporary_helper.h"

#include <windows.h>

#include "base/age.h"
#include "base/failure.h"
#include "handshake/process_inspection.h"
#include "launcher/process_start.h"
#include "run/executables.h"
#include "run/places.h"
#include "safefs/file_system.h"
#include "safefs/path_guards.h"
#include "safefs/text_encoding.h"
#include "safefs/windows_path.h"

namespace vandrel {

namespace {

constexpr DWORD kPathUnits = 32768;

std::wstring helpers_root(const std::wstring& temporary_folder) {
    return join(temporary_folder, kTemporaryHelpers);
}

// Whether `copy`, in the folder `entry`, is a copy of a day ago that nobody runs.
bool is_stale_helper(const DirectoryEntry& entry, const std::wstring& copy) {
    if (!is_job_identifier(entry.name) || !path_prefixes_free_of_reparse(entry.path) || !is_directory(entry)) {
        return false;
    }
    if (!exists(copy) || !path_prefixes_free_of_reparse(copy)) return false;
    const std::uint64_t written = last_write_time(copy);
    return has_reached_age(written, system_time(), kStaleAgeMs) && !find_running_process(copy, false);
}

}  // namespace

std::wstring own_executable_path() {
    std::wstring path(kPathUnits, L'\0');
    const DWORD length = GetModuleFileNameW(nullptr, path.data(), kPathUnits);
    require(length != 0 && length < kPathUnits, L"Nao foi possivel identificar o atualizador.");
    path.resize(length);
    return path;
}

bool find_temporary_folder(std::wstring& folder) {
    folder.assign(kPathUnits, L'\0');
    const DWORD length = GetTempPathW(kPathUnits, folder.data());
    if (length == 0) return false;
    folder.resize(length);
    return true;
}

std::wstring temporary_helper_path(const std::wstring& temporary_folder, const std::wstring& job_id) {
    return join(join(helpers_root(temporary_folder), job_id), kHelperExecutable);
}

void relocate_to_temporary_helper(const LaunchOptions& options) {
    try {
        remove_stale_helpers();
    } catch (...) {  // old copies wait for a later run
    }
    std::wstring temporary;
    require(find_temporary_folder(temporary), L"TEMP indisponivel.");
    const std::wstring target = temporary_helper_path(temporary, options.job_id);
    ensure_safe_directory(parent_path(target));
    const std::wstring text = system_error_text(L"Preparar auxiliar temporario", GetLastError());
    require(CopyFileW(own_executable_path().c_str(), target.c_str(), TRUE) != 0, text);
    launch_process(target, build_helper_arguments(options, true), options.client_root, true);
}

std::wstring build_helper_arguments(const LaunchOptions& options, bool relocated) {
    std::wstring arguments = L" /CHECK /ARCH=" + options.arch;
    arguments += L" /JOB=" + options.job_id;
    arguments += L" /STATUS=" + quote_argument(options.status_path);
    arguments += L" /WAITPID=" + std::to_wstring(options.client_pid);
    arguments += L" /CLIENT=" + quote_argument(options.client_executable);
    if (relocated) arguments += L" /RELOCATED /ROOT=" + quote_argument(options.client_root);
    return arguments;
}

void remove_stale_helpers() {
    std::wstring temporary;
    if (!find_temporary_folder(temporary)) return;
    const std::wstring root = helpers_root(temporary);
    if (!exists(root) || !path_prefixes_free_of_reparse(root)) return;
    int looked_at = 0;
    for (DirectoryIterator entries(root); !entries.at_end(); entries.advance()) {
        if (++looked_at > kMostSweptEntries) break;
        const DirectoryEntry& entry = entries.entry();
        const std::wstring copy = join(entry.path, kHelperExecutable);
        if (is_stale_helper(entry, copy) && DeleteFileW(copy.c_str()) != 0) RemoveDirectoryW(entry.path.c_str());
    }
}

}  // namespace vandrel
