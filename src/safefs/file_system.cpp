#include "safefs/file_system.h"

#include "safefs/file_system_error.h"
#include "safefs/windows_path.h"

namespace vandrel {

namespace {

bool is_missing(DWORD error) {
    return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND || error == ERROR_BAD_NETPATH ||
           error == ERROR_NETNAME_DELETED || error == ERROR_INVALID_NAME || error == ERROR_DIRECTORY;
}

bool has(DWORD attributes, DWORD bit) {
    return (attributes & bit) != 0;
}

// Attributes behind the link at `path`.
DWORD query_link_target(const std::wstring& path, DWORD& attributes) {
    const FileHandle file(CreateFileW(path.c_str(), FILE_READ_ATTRIBUTES,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                      FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    if (!file) return GetLastError();
    BY_HANDLE_FILE_INFORMATION information{};
    if (GetFileInformationByHandle(file.get(), &information) == 0) return GetLastError();
    attributes = information.dwFileAttributes;
    return ERROR_SUCCESS;
}

// Attributes of what stands at `path`, links followed. Gives the error number, 0 for success.
DWORD query_attributes(const std::wstring& path, DWORD& attributes) {
    WIN32_FILE_ATTRIBUTE_DATA data{};
    if (GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data) == 0) return GetLastError();
    attributes = data.dwFileAttributes;
    return has(attributes, FILE_ATTRIBUTE_REPARSE_POINT) ? query_link_target(path, attributes) : ERROR_SUCCESS;
}

enum class Status { missing, file, folder };

Status query_status(const std::wstring& path, const char* operation) {
    DWORD attributes = 0;
    const DWORD error = query_attributes(path, attributes);
    if (is_missing(error)) return Status::missing;
    if (error != ERROR_SUCCESS) throw_file_system_error(operation, error);
    return has(attributes, FILE_ATTRIBUTE_DIRECTORY) ? Status::folder : Status::file;
}

bool is_existing_folder(const std::wstring& path) {
    DWORD attributes = 0;
    return query_attributes(path, attributes) == ERROR_SUCCESS && has(attributes, FILE_ATTRIBUTE_DIRECTORY);
}

void remove_one(const std::wstring& path, DWORD attributes) {
    const BOOL removed =
        has(attributes, FILE_ATTRIBUTE_DIRECTORY) ? RemoveDirectoryW(path.c_str()) : DeleteFileW(path.c_str());
    const DWORD error = GetLastError();
    if (removed == 0 && !is_missing(error)) throw_file_system_error("remove_all", error);
}

// A folder, and no junction.
bool can_be_entered(DWORD attributes) {
    return has(attributes, FILE_ATTRIBUTE_DIRECTORY) && !has(attributes, FILE_ATTRIBUTE_REPARSE_POINT);
}

// What stands at `path`, a junction itself, held open: until it is closed nobody can rename it, nor a folder on the way
// to it. None, if nothing is there.
FileHandle hold_in_place(const std::wstring& path) {
    FileHandle held(CreateFileW(path.c_str(), FILE_LIST_DIRECTORY, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
    const DWORD error = GetLastError();
    if (!held && !is_missing(error)) throw_file_system_error("remove_all", error);
    return held;
}

void remove_tree(const std::wstring& path, DWORD attributes);

void empty_folder(const std::wstring& path) {
    const FileHandle held = hold_in_place(path);
    if (!held) return;
    BY_HANDLE_FILE_INFORMATION information{};
    if (GetFileInformationByHandle(held.get(), &information) == 0) {
        throw_file_system_error("remove_all", GetLastError());
    }
    if (!can_be_entered(information.dwFileAttributes)) return;  // exchanged since it was listed
    for (DirectoryIterator entries(path, "remove_all", "remove_all"); !entries.at_end(); entries.advance()) {
        remove_tree(entries.entry().path, entries.entry().attributes);
    }
}

void remove_tree(const std::wstring& path, DWORD attributes) {
    if (can_be_entered(attributes)) empty_folder(path);
    remove_one(path, attributes);
}

}  // namespace

std::uint64_t join_halves(DWORD high, DWORD low) {
    return (std::uint64_t{high} << 32) | low;
}

bool exists(const std::wstring& path) {
    return query_status(path, "exists") != Status::missing;
}
bool is_directory(const std::wstring& path) {
    return query_status(path, "status") == Status::folder;
}
bool is_regular_file(const std::wstring& path) {
    return query_status(path, "status") == Status::file;
}

std::uint64_t last_write_time(const std::wstring& path) {
    WIN32_FILE_ATTRIBUTE_DATA data{};
    if (GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data) == 0) {
        throw_file_system_error("last_write_time", GetLastError());
    }
    return join_halves(data.ftLastWriteTime.dwHighDateTime, data.ftLastWriteTime.dwLowDateTime);
}

std::uint64_t system_time() {
    FILETIME now{};
    GetSystemTimeAsFileTime(&now);
    return join_halves(now.dwHighDateTime, now.dwLowDateTime);
}

bool try_create_directories(const std::wstring& path, std::uint32_t& error) {
    std::vector<std::wstring> missing;
    std::wstring level = path;
    while (!is_existing_folder(level)) {
        missing.push_back(level);
        std::wstring parent = parent_path(level);
        if (parent == level || parent.empty()) break;
        level = std::move(parent);
    }
    for (auto folder = missing.rbegin(); folder != missing.rend(); ++folder) {
        if (CreateDirectoryW(folder->c_str(), nullptr) != 0) continue;
        error = GetLastError();
        if (error != ERROR_ALREADY_EXISTS || !is_existing_folder(*folder)) return false;
    }
    return true;
}

void create_directories(const std::wstring& path) {
    std::uint32_t error = 0;
    if (!try_create_directories(path, error)) throw_file_system_error("create_directories", error);
}

void remove_all(const std::wstring& path) {
    const DWORD attributes = GetFileAttributesW(path.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) {
        const DWORD error = GetLastError();
        if (!is_missing(error)) throw_file_system_error("remove_all", error);
        return;
    }
    remove_tree(path, attributes);
}

bool is_directory(const DirectoryEntry& entry) {
    if (!has(entry.attributes, FILE_ATTRIBUTE_REPARSE_POINT)) return has(entry.attributes, FILE_ATTRIBUTE_DIRECTORY);
    return query_status(entry.path, "directory_entry::status") == Status::folder;
}

DirectoryIterator::DirectoryIterator(const std::wstring& folder, const std::wstring& pattern)
    : folder_(folder), advance_operation_("directory_iterator::operator++") {
    open(pattern, "directory_iterator::directory_iterator");
}

DirectoryIterator::DirectoryIterator(const std::wstring& folder, const char* open_operation,
                                     const char* advance_operation)
    : folder_(folder), advance_operation_(advance_operation) {
    open(L"*", open_operation);
}

void DirectoryIterator::open(const std::wstring& pattern, const char* operation) {
    WIN32_FIND_DATAW data{};
    search_ = SearchHandle(FindFirstFileW(join(folder_, pattern).c_str(), &data));
    if (!search_) {
        const DWORD error = GetLastError();
        if (error != ERROR_FILE_NOT_FOUND) throw_file_system_error(operation, error);
        at_end_ = true;
        return;
    }
    skip_dots(data);
}

void DirectoryIterator::advance() {
    WIN32_FIND_DATAW data{};
    if (FindNextFileW(search_.get(), &data) == 0) {
        const DWORD error = GetLastError();
        if (error != ERROR_NO_MORE_FILES) throw_file_system_error(advance_operation_, error);
        at_end_ = true;
        return;
    }
    skip_dots(data);
}

void DirectoryIterator::skip_dots(WIN32_FIND_DATAW& data) {
    const std::wstring name(data.cFileName);
    if (name == L"." || name == L"..") {
        advance();
    } else {
        accept(data);
    }
}

void DirectoryIterator::accept(const WIN32_FIND_DATAW& data) {
    entry_.name = data.cFileName;
    entry_.path = join(folder_, entry_.name);
    entry_.attributes = data.dwFileAttributes;
    entry_.write_time = join_halves(data.ftLastWriteTime.dwHighDateTime, data.ftLastWriteTime.dwLowDateTime);
}

namespace {

void walk_level(DirectoryIterator entries, const std::function<void(const DirectoryEntry&)>& visit) {
    for (; !entries.at_end(); entries.advance()) {
        const DirectoryEntry& entry = entries.entry();
        visit(entry);
        if (!can_be_entered(entry.attributes)) continue;
        constexpr const char* kAdvance = "recursive_directory_iterator::operator++";
        walk_level(DirectoryIterator(entry.path, kAdvance, kAdvance), visit);
    }
}

}  // namespace

void walk_tree(const std::wstring& folder, const std::function<void(const DirectoryEntry&)>& visit) {
    walk_level(DirectoryIterator(folder, "recursive_directory_iterator::recursive_directory_iterator",
                                 "recursive_directory_iterator::operator++"),
               visit);
}

}  // namespace vandrel
