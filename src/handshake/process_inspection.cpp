#include "handshake/process_inspection.h"

#include <tlhelp32.h>

#include <algorithm>

#include "base/failure.h"
#include "base/unique_handle.h"
#include "run/executables.h"
#include "safefs/path_guards.h"
#include "safefs/text_encoding.h"
#include "safefs/windows_path.h"

namespace vandrel {

namespace {

bool is_candidate(const std::wstring& name, const std::wstring& reference, bool match_folder) {
    if (match_folder) return std::ranges::find(kClientExecutables, name) != kClientExecutables.end();
    return name == fold_case(file_name(reference));
}

// Whether the process runs, and from the place asked for. One that has gone meanwhile doesn't.
bool runs_from(DWORD process_id, const std::wstring& reference, bool match_folder) {
    const ObjectHandle process(OpenProcess(kProcessAccess, FALSE, process_id));
    if (!process) {
        require(GetLastError() == ERROR_INVALID_PARAMETER, L"Nao foi possivel verificar outro processo do cliente.");
        return false;
    }
    if (WaitForSingleObject(process.get(), 0) == WAIT_OBJECT_0) return false;
    std::wstring image;
    require(query_image_path(process.get(), image), L"Nao foi possivel verificar caminho de processo.");
    return same_folder(match_folder ? parent_path(image) : image, reference);
}

}  // namespace

bool query_image_path(HANDLE process, std::wstring& image) {
    constexpr std::size_t kImagePathUnits = 32768;
    image.assign(kImagePathUnits, L'\0');
    auto size = static_cast<DWORD>(image.size());
    const bool queried = QueryFullProcessImageNameW(process, 0, image.data(), &size) != 0;
    image.resize(queried ? size : 0);
    return queried;
}

bool find_running_process(const std::wstring& reference, bool match_folder) {
    const FileHandle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    if (!snapshot) throw Failure(system_error_text(L"Consultar processos", GetLastError()));
    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof entry;
    for (BOOL more = Process32FirstW(snapshot.get(), &entry); more != 0;
         more = Process32NextW(snapshot.get(), &entry)) {
        if (!is_candidate(fold_case(entry.szExeFile), reference, match_folder)) continue;
        if (runs_from(entry.th32ProcessID, reference, match_folder)) return true;
    }
    return false;
}

void ensure_no_other_client(const LaunchOptions& options) {
    require(!find_running_process(options.client_root, true),
            L"Outro cliente desta pasta esta aberto. Feche-o e tente novamente.");
}

}  // namespace vandrel
