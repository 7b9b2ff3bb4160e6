#include <windows.h>

#include <vector>

#include "bench/floors/floors.h"
#include "bench/floors/hash.h"
#include "bench/floors/must.h"
#include "bench/floors/request.h"

namespace floors {

namespace {

// folder\file, in one buffer for each of the three folders of a stage.
const wchar_t* place(std::wstring& buffer, const std::wstring& folder, const File& file) {
    buffer.assign(folder).append(1, L'\\').append(file.path);
    return buffer.c_str();
}

void hash_whole(const wchar_t* path, Sha256& sha256) {
    sha256.begin();
    hash_file(path, sha256, false);
    sha256.end();
}

void append_query(std::wstring& url, const std::string& path) {
    for (const char byte : path) {
        if (byte == '/') {
            url += L"%2F";
        } else {
            url += static_cast<wchar_t>(byte);
        }
    }
}

void fetch(Request& request, HANDLE file, std::uint64_t size, Sha256& sha256) {
    static std::vector<std::uint8_t> buffer(65536);
    sha256.begin();
    for (std::uint64_t received = 0; received < size;) {
        const DWORD count = request.read(buffer.data(), static_cast<DWORD>(buffer.size()));
        must(count > 0, "a body that ends early");
        sha256.add(buffer.data(), count);
        DWORD written = 0;
        must(WriteFile(file, buffer.data(), count, &written, nullptr) != 0 && written == count, "WriteFile");
        received += count;
    }
    sha256.end();
}

}  // namespace

void plain_check(const Task& task) {
    Sha256 sha256;
    std::wstring target;
    sha256.open_provider();
    gate("ready");
    for (const File& file : task.files) hash_whole(place(target, task.root, file), sha256);
    gate("done");
}

void plain_download(const Task& task) {
    Sha256 sha256;
    std::wstring staged;
    std::wstring url;
    sha256.open_provider();
    gate("ready");
    for (const File& file : task.files) {
        url.assign(task.url).append(L"?action=download&arch=64&release=7&file=");
        append_query(url, file.wire_path);
        Request request(Calls::unavoidable);
        request.send(url);
        request.receive();
        HANDLE part = CreateFileW(place(staged, task.staged, file), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                  FILE_ATTRIBUTE_NORMAL, nullptr);
        must(part != INVALID_HANDLE_VALUE, "creating a file");
        fetch(request, part, file.size, sha256);
        request.close();
        must(FlushFileBuffers(part) != 0, "FlushFileBuffers");
        CloseHandle(part);
    }
    gate("done");
}

void plain_install(const Task& task) {
    Sha256 sha256;
    std::wstring target;
    std::wstring other;
    sha256.open_provider();
    gate("ready");
    for (const File& file : task.files) {
        hash_whole(place(other, task.staged, file), sha256);
        place(target, task.root, file);
        if (file.existed) {
            hash_whole(target.c_str(), sha256);
            must(MoveFileExW(target.c_str(), place(other, task.backup, file), MOVEFILE_WRITE_THROUGH) != 0,
                 "moving the old file");
        }
        must(MoveFileExW(place(other, task.staged, file), target.c_str(), MOVEFILE_WRITE_THROUGH) != 0,
             "moving the new file");
        hash_whole(target.c_str(), sha256);
    }
    gate("done");
}

}  // namespace floors
