#include <windows.h>

#include <memory>

#include "bench/floors/floors.h"
#include "bench/floors/guards.h"
#include "bench/floors/hash.h"
#include "bench/floors/must.h"
#include "bench/floors/request.h"

namespace floors {

namespace {

std::uint64_t size_of(const std::wstring& path) {
    WIN32_FILE_ATTRIBUTE_DATA data{};
    if (GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data) == 0) return ~0ULL;
    return data.nFileSizeLow + (std::uint64_t{data.nFileSizeHigh} << 32);
}

void fetch_manifest(const Task& task, Request& request) {
    const auto manifest = std::make_unique_for_overwrite<std::uint8_t[]>(1U << 24);
    std::size_t size = 0;
    request.receive();
    for (;;) {
        poll_command(task);
        const DWORD count = request.read(manifest.get() + size, 65536);
        if (count == 0) break;
        size += count;
    }
    request.close();
    Sha256 sha256;
    sha256.open_provider();
    sha256.begin();
    sha256.add(manifest.get(), size);
    sha256.end();
    sha256.close_provider();
}

void judge_paths(const Task& task) {
    std::wstring target;
    for (const File& file : task.files) {
        name_file(target, task.root, file);
        convert_to_utf8(file.path);
        name_file(target, task.root, file);
        guard_destination(task.root, target);
    }
}

void compare_files(const Task& task) {
    std::wstring target;
    for (const File& file : task.files) {
        poll_command(task);
        name_file(target, task.root, file);
        const std::uint64_t size = size_of(target);
        if (size == file.size) {
            hash_anew(target);
        } else if (look(target)) {  // there, and of another size: measured for the plan
            must(size_of(target) != file.size, "measuring a file");
            hash_anew(target);
        }
    }
}

}  // namespace

void rules_check(const Task& task) {
    Request request(Calls::prescribed);
    request.send(task.url + L"?action=manifest&arch=64");
    gate("ready");
    fetch_manifest(task, request);
    judge_paths(task);
    compare_files(task);
    write_status(task);
    poll_command(task);
    gate("done");
}

}  // namespace floors
