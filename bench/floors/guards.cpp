#include "bench/floors/guards.h"

#include <windows.h>

#include <bcrypt.h>

#include <cstdint>

#include "bench/floors/hash.h"
#include "bench/floors/must.h"

namespace floors {

namespace {

constexpr std::size_t kRootName = 2;  // of "C:\..."

std::wstring full(32768, L'\0');

std::size_t make_full(const std::wstring& path) {
    const DWORD length = GetFullPathNameW(path.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr);
    must(length > kRootName && length < full.size(), "GetFullPathNameW");
    return length;
}

// Asks for the attributes of the first `length` units of the full path.
void ask_for_step(std::size_t length) {
    const wchar_t behind = full[length];
    full[length] = L'\0';
    GetFileAttributesW(full.c_str());
    full[length] = behind;
}

// The root folder, and each step to the whole path.
void ask_for_steps(std::size_t length) {
    for (std::size_t end = kRootName + 1; end <= length; ++end) {
        if (end == kRootName + 1 || end == length || full[end] == L'\\') ask_for_step(end);
    }
}

}  // namespace

bool look(const std::wstring& path) {
    WIN32_FILE_ATTRIBUTE_DATA data{};
    return GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data) != 0;
}

void guard_prefixes(const std::wstring& path) {
    const std::size_t length = make_full(path);
    ask_for_step(kRootName);
    ask_for_steps(length);
}

void guard_ancestors(const std::wstring& path) {
    ask_for_steps(make_full(path));
}

void compare_places(const std::wstring& root, const std::wstring& target) {
    make_full(root);
    make_full(target);
}

void guard_destination(const std::wstring& root, const std::wstring& target) {
    static std::wstring parent;
    GetFileAttributesW(root.c_str());
    compare_places(root, target);
    guard_ancestors(root);
    name_parent(parent, target);
    guard_ancestors(parent);
    GetFileAttributesW(target.c_str());
}

void create_folders(const std::wstring& path) {
    if (look(path)) return;
    create_folders(path.substr(0, path.rfind(L'\\')));
    must(CreateDirectoryW(path.c_str(), nullptr) != 0, "CreateDirectoryW");
}

void ensure_folder(const std::wstring& path) {
    guard_prefixes(path);
    create_folders(path);
    guard_prefixes(path);
    must(look(path), "making a folder");
}

void name_file(std::wstring& buffer, const std::wstring& folder, const File& file) {
    static std::wstring wide(32768, L'\0');
    const int size = static_cast<int>(file.wire_path.size());
    const int length = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, file.wire_path.data(), size, nullptr, 0);
    must(MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, file.wire_path.data(), size, wide.data(), length) > 0,
         "MultiByteToWideChar");
    buffer.assign(folder).append(1, L'\\').append(file.path);
}

void name_parent(std::wstring& buffer, const std::wstring& path) {
    buffer.assign(path, 0, path.rfind(L'\\'));
}

void convert_to_utf8(const std::wstring& text) {
    static std::string bytes(32768, '\0');
    const int size = static_cast<int>(text.size());
    const int length =
        WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, text.data(), size, nullptr, 0, nullptr, nullptr);
    must(WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, text.data(), size, bytes.data(), length, nullptr, nullptr) >
             0,
         "WideCharToMultiByte");
}

void make_error_text() {
    wchar_t* text = nullptr;
    FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_FROM_SYSTEM, nullptr,
                   GetLastError(), 0, reinterpret_cast<wchar_t*>(&text), 0, nullptr);
    LocalFree(text);
}

void hash_anew(const std::wstring& path) {
    static Sha256 sha256;
    sha256.open_provider();
    sha256.begin();
    hash_file(path.c_str(), sha256, true);
    sha256.end();
    sha256.close_provider();
}

void match(const std::wstring& path) {
    must(look(path), "a file's size");
    hash_anew(path);
}

void poll_command(const Task& task) {
    static const std::wstring job(32, L'0');
    if (!look(task.command_file)) return;
    guard_prefixes(task.command_file);
    HANDLE file =
        CreateFileW(task.command_file.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                    nullptr, OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    must(file != INVALID_HANDLE_VALUE, "opening the command file");
    LARGE_INTEGER size{};
    std::uint8_t content[4096];
    DWORD read = 0;
    must(GetFileSizeEx(file, &size) != 0, "GetFileSizeEx");
    must(ReadFile(file, content, static_cast<DWORD>(size.QuadPart), &read, nullptr) != 0, "reading the command file");
    CloseHandle(file);
    convert_to_utf8(job);
}

void write_status(const Task& task) {
    static const std::string document(200, '.');
    static const std::wstring job(32, L'0');
    static std::wstring folder;
    for (int text = 0; text < 3; ++text) convert_to_utf8(job);  // the job, the state and the detail
    name_parent(folder, task.status_file);
    write_atomic(folder, task.status_file, document.data(), document.size());
}

void write_atomic(const std::wstring& root, const std::wstring& destination, const void* content, std::size_t size) {
    guard_destination(root, destination);
    const std::wstring& part = make_part_path(destination);
    HANDLE file = CreateFileW(part.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                              FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    must(file != INVALID_HANDLE_VALUE, "creating a temporary file");
    DWORD written = 0;
    must(WriteFile(file, content, static_cast<DWORD>(size), &written, nullptr) != 0, "writing a temporary file");
    make_error_text();
    must(FlushFileBuffers(file) != 0, "flushing a temporary file");
    CloseHandle(file);
    promote(root, part, destination);
}

const std::wstring& make_part_path(const std::wstring& destination) {
    static std::wstring part;
    static const wchar_t* digits = L"0123456789abcdef";
    std::uint8_t random[8] = {};
    must(BCryptGenRandom(nullptr, random, sizeof random, BCRYPT_USE_SYSTEM_PREFERRED_RNG) >= 0, "BCryptGenRandom");
    part.assign(destination).append(L".qmpart-").append(std::to_wstring(GetCurrentProcessId())).append(1, L'-');
    for (const std::uint8_t byte : random) part.append(1, digits[byte >> 4]).append(1, digits[byte & 15]);
    return part.append(L".part");
}

void promote(const std::wstring& root, const std::wstring& part, const std::wstring& destination) {
    static std::wstring folder;
    guard_destination(root, destination);
    name_parent(folder, destination);
    compare_places(folder, part);
    guard_ancestors(part);
    GetFileAttributesW(part.c_str());
    BOOL promoted = FALSE;
    if (GetFileAttributesW(destination.c_str()) != INVALID_FILE_ATTRIBUTES) {
        promoted =
            ReplaceFileW(destination.c_str(), part.c_str(), nullptr, REPLACEFILE_WRITE_THROUGH, nullptr, nullptr);
    } else {
        promoted = MoveFileExW(part.c_str(), destination.c_str(), MOVEFILE_WRITE_THROUGH);
    }
    must(promoted != FALSE, "promoting a file");
}

}  // namespace floors
