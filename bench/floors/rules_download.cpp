#include <windows.h>

#include <vector>

#include "bench/floors/floors.h"
#include "bench/floors/guards.h"
#include "bench/floors/hash.h"
#include "bench/floors/must.h"
#include "bench/floors/request.h"
#include "streaming/crc32.h"

namespace floors {

namespace {

// What the downloads of a run share.
struct Transfers {
    std::wstring staged;
    std::wstring folder;
    std::wstring url;
    std::wstring pattern;
    std::wstring part;
    Sha256 sha256;
    std::uint64_t last_report = 0;
};

void name_url(const Task& task, const File& file, std::wstring& url) {
    static std::wstring wide;
    name_file(wide, task.root, file);
    convert_to_utf8(file.path);
    url.assign(task.url).append(L"?action=download&arch=64&release=7&file=");
    for (const char byte : file.wire_path) {
        if (byte == '/') {
            url.append(L"%2F");
        } else {
            url.append(1, static_cast<wchar_t>(byte));
        }
    }
}

// remove_stale_parts, where there are none.
void look_for_parts(Transfers& transfers) {
    guard_ancestors(transfers.folder);
    FILETIME now{};
    GetSystemTimeAsFileTime(&now);
    transfers.pattern.assign(transfers.staged).append(L".qmpart-*.part");
    WIN32_FIND_DATAW found{};
    must(FindFirstFileW(transfers.pattern.c_str(), &found) == INVALID_HANDLE_VALUE, "a folder without parts");
}

void report_progress(const Task& task, Transfers& transfers) {
    if (GetTickCount64() - transfers.last_report < 100) return;
    transfers.last_report = GetTickCount64();
    write_status(task);
}

void transfer(const Task& task, Transfers& transfers, Request& request, HANDLE part) {
    static std::vector<std::uint8_t> buffer(65536);
    std::uint32_t crc = qm_streaming::kCrc32Start;
    for (;;) {
        poll_command(task);
        GetTickCount64();
        const DWORD count = request.read(buffer.data(), static_cast<DWORD>(buffer.size()));
        if (count == 0) break;
        DWORD written = 0;
        must(WriteFile(part, buffer.data(), count, &written, nullptr) != 0 && written == count, "WriteFile");
        transfers.sha256.add(buffer.data(), count);
        crc = qm_streaming::update_crc32(crc, buffer.data(), count);
        report_progress(task, transfers);
    }
}

// streaming_download, at its first attempt.
void download(const Task& task, Transfers& transfers) {
    guard_destination(task.root, transfers.staged);
    create_folders(transfers.folder);
    guard_destination(task.root, transfers.staged);
    look_for_parts(transfers);
    GetTickCount64();
    poll_command(task);
    GetTickCount64();
    Request request(Calls::prescribed);
    request.send(transfers.url);
    request.receive();
    transfers.part.assign(make_part_path(transfers.staged));
    HANDLE part =
        CreateFileW(transfers.part.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                    FILE_FLAG_SEQUENTIAL_SCAN | FILE_FLAG_OPEN_REPARSE_POINT | FILE_ATTRIBUTE_TEMPORARY, nullptr);
    must(part != INVALID_HANDLE_VALUE, "creating a part");
    transfers.sha256.open_provider();
    transfers.sha256.begin();
    transfer(task, transfers, request, part);
    request.close();
    must(FlushFileBuffers(part) != 0, "FlushFileBuffers");
    CloseHandle(part);
    transfers.sha256.end();
    promote(task.root, transfers.part, transfers.staged);
    transfers.sha256.close_provider();
}

}  // namespace

void rules_download(const Task& task) {
    Transfers transfers;
    gate("ready");
    write_status(task);
    for (const File& file : task.files) {
        poll_command(task);
        name_file(transfers.staged, task.staged, file);
        name_parent(transfers.folder, transfers.staged);
        ensure_folder(transfers.folder);
        name_url(task, file, transfers.url);
        download(task, transfers);
        poll_command(task);
    }
    poll_command(task);
    write_status(task);
    gate("done");
}

}  // namespace floors
