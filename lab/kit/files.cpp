#include "lab/kit/files.h"

#include <windows.h>

#include <fstream>
#include <iterator>
#include <stdexcept>

namespace kit {
namespace {

namespace fs = std::filesystem;

constexpr int kAttempts = 50;  // somebody may be looking through what has just been written
constexpr DWORD kPause_ms = 100;

bool has(const fs::path& path, DWORD attribute) {
    const DWORD found = GetFileAttributesW(path.c_str());
    return found != INVALID_FILE_ATTRIBUTES && (found & attribute) != 0;
}

// The library's own removal follows links to folders.
void remove_once(const fs::path& path) {
    if (!has(path, FILE_ATTRIBUTE_DIRECTORY)) {
        SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
        DeleteFileW(path.c_str());
        return;
    }
    if (!has(path, FILE_ATTRIBUTE_REPARSE_POINT)) {
        std::error_code ignored;
        for (const fs::directory_entry& entry : fs::directory_iterator(path, ignored)) remove_once(entry.path());
    }
    RemoveDirectoryW(path.c_str());
}

}  // namespace

std::string content_of(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    if (!stream) throw std::runtime_error("can't read " + file.filename().string());
    return {std::istreambuf_iterator<char>(stream), {}};
}

// The library's own copying takes any two folders for one here.
void copy_tree(const fs::path& from, const fs::path& to) {
    fs::create_directories(to);
    for (const fs::directory_entry& entry : fs::directory_iterator(from)) {
        const fs::path target = to / entry.path().filename();
        if (entry.is_directory()) {
            copy_tree(entry.path(), target);
        } else {
            fs::copy_file(entry.path(), target);
        }
    }
}

bool remove_tree(const fs::path& path) {
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        if (GetFileAttributesW(path.c_str()) == INVALID_FILE_ATTRIBUTES) return true;
        if (attempt > 0) Sleep(kPause_ms);
        remove_once(path);
    }
    return false;
}

}  // namespace kit
