#include "manifest/digests.h"

#include <windows.h>

#include <optional>
#include <string_view>

#include "base/failure.h"
#include "base/sha256.h"
#include "base/unique_handle.h"
#include "safefs/file_system.h"
#include "safefs/text_encoding.h"

namespace vandrel {

namespace {

constexpr std::size_t kFileBufferSize = 1048576;

// One for all files of a run. A run has one thread; only the simulated machine has several runs at a time.
thread_local Bytes file_buffer;

bool digest_open_file(HANDLE file, Sha256& sha256, Digest& digest, std::wstring& error) {
    file_buffer.resize(kFileBufferSize);
    for (;;) {
        DWORD read = 0;
        if (ReadFile(file, file_buffer.data(), static_cast<DWORD>(file_buffer.size()), &read, nullptr) == 0) {
            return fail(error, system_error_text(L"Falha ao ler arquivo para verificacao", GetLastError()));
        }
        if (read == 0) return sha256.finish(digest) || fail(error, L"Falha ao finalizar SHA-256.");
        if (!sha256.update(file_buffer.data(), read)) return fail(error, L"Falha ao calcular SHA-256.");
    }
}

std::optional<std::uint64_t> size_of_file(const std::wstring& path) {
    WIN32_FILE_ATTRIBUTE_DATA data{};
    if (GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data) == 0) return std::nullopt;
    if ((data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) return std::nullopt;
    return join_halves(data.nFileSizeHigh, data.nFileSizeLow);
}

}  // namespace

bool sha256_of_bytes(const std::uint8_t* data, std::uint64_t size, Digest& digest) {
    Sha256 sha256;
    return sha256.open() && sha256.prepare() && sha256.create() && sha256.update(data, size) && sha256.finish(digest);
}

bool sha256_of_file(const std::wstring& path, Digest& digest, std::wstring& error) {
    Sha256 sha256;
    if (!sha256.open()) return fail(error, L"Falha ao iniciar SHA-256.");
    if (!sha256.prepare()) return fail(error, L"Falha ao preparar SHA-256.");
    if (!sha256.create()) return fail(error, L"Falha ao criar SHA-256.");
    const FileHandle file(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                      FILE_FLAG_SEQUENTIAL_SCAN, nullptr));
    if (!file) return fail(error, system_error_text(L"Falha ao abrir arquivo para verificacao", GetLastError()));
    return digest_open_file(file.get(), sha256, digest, error);
}

void release_digest_buffer() {
    file_buffer = Bytes();
}

bool file_matches_entry(const std::wstring& path, const ManifestEntry& entry, std::wstring& error) {
    if (size_of_file(path) != entry.size) return false;
    Digest digest{};
    return sha256_of_file(path, digest, error) && digest == entry.sha256;
}

bool regular_file_size(const std::wstring& path, std::uint64_t& size) {
    const auto found = size_of_file(path);
    if (found) size = *found;
    return found.has_value();
}

std::string hex_lower(const Digest& digest) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string text;
    for (const std::uint8_t byte : digest) {
        text += kDigits[byte >> 4];
        text += kDigits[byte & 15];
    }
    return text;
}

std::string folder_key(const std::wstring& client_root) {
    const std::string bytes = wide_to_utf8(fold_case(client_root));
    Digest digest{};
    require(sha256_of_bytes(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size(), digest),
            L"Hash da pasta falhou.");
    return hex_lower(digest);
}

}  // namespace vandrel
