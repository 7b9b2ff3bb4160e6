#include "safefs/partial_files.h"

#include <windows.h>

#include <bcrypt.h>

#include <array>
#include <cstring>
#include <system_error>

#include "base/age.h"
#include "base/failure.h"
#include "safefs/file_system.h"
#include "safefs/path_guards.h"
#include "safefs/plain_files.h"
#include "safefs/windows_path.h"

namespace qm_streaming {

namespace {

constexpr const wchar_t* kPartMark = L".qmpart-";
constexpr const wchar_t* kPartEnd = L".part";
constexpr std::size_t kShortestRest = 6;  // what at least stands behind the mark, ".part" included

std::array<std::uint8_t, 8> random_bytes() {
    std::array<std::uint8_t, 8> bytes{};
    if (BCryptGenRandom(nullptr, bytes.data(), static_cast<ULONG>(bytes.size()), BCRYPT_USE_SYSTEM_PREFERRED_RNG) < 0) {
        const std::uint64_t value =
            GetTickCount64() ^ (std::uint64_t{GetCurrentProcessId()} << 32) ^ GetCurrentThreadId();
        std::memcpy(bytes.data(), &value, bytes.size());
    }
    return bytes;
}

bool is_part_of(const std::wstring& name, const std::wstring& prefix) {
    return name.starts_with(prefix) && name.size() >= prefix.size() + kShortestRest && name.ends_with(kPartEnd);
}

}  // namespace

std::wstring make_part_path(const std::wstring& destination) {
    constexpr const wchar_t* kDigits = L"0123456789abcdef";
    std::wstring name(vandrel::file_name(destination));
    const auto bytes = random_bytes();
    name += kPartMark + std::to_wstring(GetCurrentProcessId()) + L"-";
    for (const std::uint8_t byte : bytes) {
        name += kDigits[byte >> 4];
        name += kDigits[byte & 15];
    }
    return vandrel::join(vandrel::parent_path(destination), name + kPartEnd);
}

void remove_stale_parts(const std::wstring& destination, std::uint32_t age_ms, std::uint32_t& stale_parts_removed) {
    const std::wstring folder = vandrel::parent_path(destination);
    if (!vandrel::ancestors_free_of_reparse(folder)) return;
    const std::wstring prefix = std::wstring(vandrel::file_name(destination)) + kPartMark;
    const std::uint64_t now = vandrel::system_time();
    try {
        const std::wstring pattern = prefix + L"*" + kPartEnd;
        for (vandrel::DirectoryIterator entries(folder, pattern); !entries.at_end(); entries.advance()) {
            const vandrel::DirectoryEntry& entry = entries.entry();
            if (!is_part_of(entry.name, prefix) || !vandrel::is_plain_file(entry.path)) continue;
            if (!vandrel::has_reached_age(entry.write_time, now, age_ms)) continue;
            if (vandrel::discard_temporary_file(entry.path)) ++stale_parts_removed;
        }
    } catch (const std::system_error&) {  // an unreadable folder ends the sweep
    }
}

bool promote_part(const std::wstring& allowed_root, const std::wstring& part, const std::wstring& destination,
                  std::wstring& error) {
    if (!vandrel::validate_download_destination(allowed_root, destination, error)) return false;
    if (!vandrel::is_path_within(vandrel::parent_path(destination), part) ||
        !vandrel::ancestors_free_of_reparse(part)) {
        return false;  // `error` stays as it came: the caller shows what stood in it before, or nothing
    }
    if (!vandrel::is_plain_file(part)) {
        error = L"Arquivo parcial deixou de ser regular antes da promocao.";
        return false;
    }
    BOOL promoted = FALSE;
    if (GetFileAttributesW(destination.c_str()) != INVALID_FILE_ATTRIBUTES) {
        promoted =
            ReplaceFileW(destination.c_str(), part.c_str(), nullptr, REPLACEFILE_WRITE_THROUGH, nullptr, nullptr);
    } else {
        const DWORD why = GetLastError();
        if (why != ERROR_FILE_NOT_FOUND) {
            error = vandrel::windows_error_text(L"Falha ao inspecionar destino", why);
            return false;
        }
        promoted = MoveFileExW(part.c_str(), destination.c_str(), MOVEFILE_WRITE_THROUGH);
    }
    if (promoted == FALSE) error = vandrel::windows_error_text(L"Falha na promocao atomica", GetLastError());
    return promoted != FALSE;
}

}  // namespace qm_streaming
