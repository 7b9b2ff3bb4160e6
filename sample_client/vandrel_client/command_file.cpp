#include "command_file.h"

#include <windows.h>

#include "client_error.h"

namespace vandrel_client {
namespace {

constexpr int kMoveAttempts = 100;
constexpr DWORD kMovePause_ms = 20;

void write_flushed(const std::filesystem::path& file, const std::string& text) {
    const HANDLE handle =
        CreateFileW(file.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE) throw ClientError(VANDREL_NO_COMMAND);
    DWORD written = 0;
    const bool done = WriteFile(handle, text.data(), static_cast<DWORD>(text.size()), &written, nullptr) &&
                      written == text.size() && FlushFileBuffers(handle);
    const DWORD error = GetLastError();
    CloseHandle(handle);
    if (!done) throw ClientError(VANDREL_NO_COMMAND, error);
}

}  // namespace

void write_command(const JobFiles& files, std::string_view command) {
    std::filesystem::path temporary = files.command;
    temporary += L".new";
    write_flushed(temporary, "{\"jobId\":\"" + files.job + "\",\"command\":\"" + std::string(command) + "\"}\n");
    // The helper's own look at the file, ten times a second, can refuse the move for a moment.
    for (int attempt = 0; attempt < kMoveAttempts; ++attempt) {
        if (MoveFileExW(temporary.c_str(), files.command.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
            return;
        }
        Sleep(kMovePause_ms);
    }
    throw ClientError(VANDREL_NO_COMMAND);
}

}  // namespace vandrel_client
