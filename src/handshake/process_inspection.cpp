#include "handshake/process_inspection.h"

#include <windows.h>

#include <tlhelp32.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "base/failure.h"
#include "base/unique_handle.h"
#include "safefs/path_guards.h"
#include "safefs/text_encoding.h"
#include "safefs/windows_path.h"

namespace vandrel {

namespace {

static_assert(kProcessAccess == (SYNCHRONIZE | PROCESS_QUERY_LIMITED_INFORMATION));

constexpr std::array<std::wstring_view, 4> kClientExecutables{L"brindler_dx_x64.exe", L"brindler_gl_x64.exe",
                                                              L"brindler_dx_x86.exe", L"brindler_gl_x86.exe"};

bool is_candidate(const std::wstring& name, const std::wstring& reference, bool match_folder) {
    if (match_folder) return std::ranges::find(kClientExecutables, name) != kClientExecutables.end();
    return name == fold_case(file_name(reference));
}

std::wstring image_path(HANDLE process) {
    std::wstring image(kImagePathUnits, L'\0');
    DWORD size = static_cast<DWORD>(image.size());
    require(QueryFullProcessImageNameW(process, 0, image.data(), &size) != 0,
            L"Nao foi possivel verificar caminho de processo.");
    image.resize(size);
    return image;
}

// Whether the process runs, and from the place asked for. One that has gone meanwhile doesn't.
bool runs_from(DWORD process_id, const std::wstring& reference, bool match_folder) {
    const ObjectHandle process(OpenProcess(kProcessAccess, FALSE, process_id));
    if (!process) {
        require(GetLastError() == ERROR_INVALID_PARAMETER, L"Nao foi possivel verificar outro processo do cliente.");
        return false;
    }
    if (WaitForSingleObject(process.get(), 0) == WAIT_OBJECT_0) return false;
    const std::wstring image = image_path(process.get());
    return same_folder(match_folder ? parent_path(image) : image, reference);
}

}  // namespace

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
