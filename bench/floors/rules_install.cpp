#include <windows.h>

#include <tlhelp32.h>

#include <vector>

#include "bench/floors/floors.h"
#include "bench/floors/guards.h"
#include "bench/floors/must.h"

namespace floors {

namespace {

struct Places {
    std::wstring target;
    std::wstring staged;
    std::wstring backup;
    std::wstring folder;
};

void name_places(const Task& task, const File& file, Places& places) {
    name_file(places.target, task.root, file);
    places.staged.assign(task.staged).append(1, L'\\').append(file.path);
    places.backup.assign(task.backup).append(1, L'\\').append(file.path);
}

void look_for_clients() {
    HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof entry;
    for (BOOL more = Process32FirstW(snapshot, &entry); more != 0; more = Process32NextW(snapshot, &entry)) {
    }
    CloseHandle(snapshot);
}

void check_before(const Task& task, const File& file, const Places& places) {
    guard_destination(task.root, places.target);
    guard_destination(task.root, places.staged);
    match(places.staged);
    if (file.existed) {
        match(places.target);
    } else {
        look(places.target);
    }
}

void replace(const Task& task, const File& file, Places& places) {
    name_parent(places.folder, places.target);
    ensure_folder(places.folder);
    name_parent(places.folder, places.backup);
    ensure_folder(places.folder);
    guard_destination(task.root, places.target);
    guard_destination(task.root, places.backup);
    make_error_text();
    const BOOL replaced = file.existed
                              ? ReplaceFileW(places.target.c_str(), places.staged.c_str(), places.backup.c_str(),
                                             REPLACEFILE_WRITE_THROUGH, nullptr, nullptr)
                              : MoveFileExW(places.staged.c_str(), places.target.c_str(), MOVEFILE_WRITE_THROUGH);
    must(replaced != FALSE, "replacing a file");
}

void remove_record(const Task& task) {
    guard_destination(task.root, task.record);
    look(task.record);
    make_error_text();
    must(DeleteFileW(task.record.c_str()) != 0, "removing the record");
}

// A walk over a folder: each entry is guarded, or is removed with all that it holds.
void walk(const std::wstring& folder, bool remove) {
    WIN32_FIND_DATAW found{};
    HANDLE search = FindFirstFileW((folder + L"\\*").c_str(), &found);
    must(search != INVALID_HANDLE_VALUE, "FindFirstFileW");
    std::wstring path;
    do {
        if (found.cFileName[0] == L'.') continue;
        path.assign(folder).append(1, L'\\').append(found.cFileName);
        const bool is_folder = (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
        if (!remove) guard_prefixes(path);
        if (is_folder) walk(path, remove);
        if (remove) {
            must((is_folder ? RemoveDirectoryW(path.c_str()) : DeleteFileW(path.c_str())) != 0, "removing a file");
        }
    } while (FindNextFileW(search, &found) != 0);
    FindClose(search);
}

// discard_transaction.
void discard(const Task& task) {
    look(task.transaction);
    guard_prefixes(task.transaction);
    walk(task.transaction, false);
    GetFileAttributesW(task.transaction.c_str());
    walk(task.transaction, true);
    must(RemoveDirectoryW(task.transaction.c_str()) != 0, "removing the transaction's folder");
}

}  // namespace

void rules_install(const Task& task) {
    Places places;
    const std::vector<std::uint8_t> record(task.record_size);
    gate("ready");
    poll_command(task);
    look_for_clients();
    for (const File& file : task.files) {
        name_places(task, file, places);
        check_before(task, file, places);
    }
    write_atomic(task.root, task.record, record.data(), record.size());
    for (const File& file : task.files) {
        name_places(task, file, places);
        replace(task, file, places);
    }
    for (const File& file : task.files) {
        name_places(task, file, places);
        match(places.target);
    }
    remove_record(task);
    discard(task);
    write_status(task);
    gate("done");
}

}  // namespace floors
