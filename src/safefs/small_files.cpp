#include "safefs/small_files.h"

#include <windows.h>

#include "base/failure.h"
#include "base/unique_handle.h"
#include "safefs/partial_files.h"
#include "safefs/path_guards.h"
#include "safefs/plain_files.h"

namespace vandrel {

namespace {

constexpr int kReplaceAttempts = 20;
constexpr DWORD kReplacePauseMs = 25;

void write_piece(HANDLE file, std::span<const std::uint8_t> piece) {
    DWORD written = 0;
    const bool complete = WriteFile(file, piece.data(), static_cast<DWORD>(piece.size()), &written, nullptr) != 0 &&
                          written == piece.size();
    require(complete, L"Falha ao gravar arquivo temporario.");
}

// Creates `temporary`, writes `content`, flushes and closes.
void write_temporary(const std::wstring& temporary, Pieces content) {
    const FileHandle file(CreateFileW(temporary.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                      FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
    if (!file) throw Failure(system_error_text(L"Criar arquivo temporario", GetLastError()));
    for (const std::span<const std::uint8_t> piece : content) {
        if (!piece.empty()) write_piece(file.get(), piece);
    }
    const std::wstring text = system_error_text(L"Sincronizar arquivo", GetLastError());
    require(FlushFileBuffers(file.get()) != 0, text);
}

void promote_with_patience(const std::wstring& root, const std::wstring& temporary, const std::wstring& destination) {
    std::wstring error;
    for (int attempt = 0; attempt < kReplaceAttempts; ++attempt) {
        if (qm_streaming::promote_part(root, temporary, destination, error)) return;
        const DWORD last_error = GetLastError();
        if (last_error != ERROR_SHARING_VIOLATION && last_error != ERROR_ACCESS_DENIED) break;
        Sleep(kReplacePauseMs);
    }
    throw Failure(std::move(error));
}

void discard_quietly(const std::wstring& temporary) {
    try {
        discard_temporary_file(temporary);
    } catch (...) {  // the failure that led here is the one to tell
    }
}

}  // namespace

Bytes read_file_bounded(const std::wstring& path, std::uint64_t limit) {
    require(path_prefixes_free_of_reparse(path), L"Caminho com redirecionamento recusado.");
    const FileHandle file(CreateFileW(path.c_str(), GENERIC_READ,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                      FILE_FLAG_SEQUENTIAL_SCAN | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
    if (!file) throw Failure(system_error_text(L"Abrir arquivo", GetLastError()));
    LARGE_INTEGER size{};
    const bool within = GetFileSizeEx(file.get(), &size) != 0 && size.QuadPart >= 0 &&
                        static_cast<std::uint64_t>(size.QuadPart) <= limit;
    require(within, L"Arquivo excede o limite permitido.");
    Bytes content(static_cast<std::size_t>(size.QuadPart));
    if (content.empty()) return content;
    DWORD read = 0;
    const bool complete =
        ReadFile(file.get(), content.data(), static_cast<DWORD>(content.size()), &read, nullptr) != 0 &&
        read == content.size();
    require(complete, L"Arquivo incompleto.");
    return content;
}

void write_file_atomic(const std::wstring& root, const std::wstring& destination, Pieces content) {
    std::wstring error;
    if (!validate_download_destination(root, destination, error)) throw Failure(std::move(error));
    const std::wstring temporary = qm_streaming::make_part_path(destination);
    try {
        write_temporary(temporary, content);
        promote_with_patience(root, temporary, destination);
    } catch (...) {
        discard_quietly(temporary);
        throw;
    }
}

}  // namespace vandrel
