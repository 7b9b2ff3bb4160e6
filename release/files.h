// Files on disk as the release tool needs them: written durably and under their final name only when whole.
// Everything here throws Refusal with the path and the system's reason.
#pragma once

#include <sys/stat.h>

#include <array>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace vandrel_release {

using Digest = std::array<std::uint8_t, 32>;

// An open file descriptor; closed when it goes out of scope.
class FileHandle {
 public:
    FileHandle() = default;
    explicit FileHandle(int descriptor) : descriptor_(descriptor) {}
    FileHandle(FileHandle&& other) noexcept;
    FileHandle& operator=(FileHandle&& other) noexcept;
    ~FileHandle();
    int get() const { return descriptor_; }
    explicit operator bool() const { return descriptor_ >= 0; }

 private:
    int descriptor_ = -1;
};

// Paths are plain text where they are many: a filesystem::path takes its components apart.

// A regular file to read; a symbolic link at its end is refused.
FileHandle open_for_reading(const std::string& path);

// A regular file somewhere beneath the folder, by its path with "/" separators. Neither the folder nor anything on the
// way may be a link, and nothing outside the folder can be reached. Nothing there, or something else than a regular
// file: an empty handle.
FileHandle open_beneath(const std::filesystem::path& folder, const std::string& path);

// Whether anything stands at this name, a dangling link included.
bool is_there(const std::string& path);

// The names in a folder, in no order; none if the folder isn't there.
std::vector<std::string> names_in(const std::filesystem::path& folder);

struct stat status_of(const FileHandle& file, const std::string& path);
std::uint64_t size_of(const FileHandle& file, const std::string& path);

// Throws Refusal "PATH is larger than LIMIT bytes".
[[noreturn]] void refuse_large(const std::string& path, std::uint64_t limit);

// The whole content of a small file. More than `limit` bytes: Refusal.
std::string read_small_file(const std::filesystem::path& path, std::uint64_t limit);

// A new file to write to. Throws if the name is taken.
FileHandle create_new(const std::string& path, mode_t mode);

// `path` is for messages. read_some gives 0 at the end of the file alone.
void write_all(const FileHandle& file, const char* data, std::size_t size, const std::string& path);
std::size_t read_some(const FileHandle& file, char* buffer, std::size_t capacity, const std::string& path);

// A new file with this content, flushed to disk. Throws if the name is taken.
void write_new_file(const std::filesystem::path& path, const std::string& content, mode_t mode);

// Puts a file with this content at `path`, whether or not one stands there. Power cut: the old one or the new one, and
// perhaps a sibling, `path` with ".new-" and a number behind it.
void replace_file(const std::filesystem::path& path, const std::string& content, mode_t mode);

// As replace_file, but a file that stands there already is refused and stays as it is.
void create_file(const std::filesystem::path& path, const std::string& content, mode_t mode);

// Makes everything durable that was written to the file system on which this file or folder lies: many files are
// flushed in one go. A write that failed since the handle was opened is reported here.
void flush_file_system(const FileHandle& file);

// Makes the names in a folder durable.
void flush_folder(const std::filesystem::path& folder);

}  // namespace vandrel_release
