#include "release/files.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>
#include <vector>

#include "release/refusal.h"

namespace vandrel_release {
namespace {

std::string named(const std::string& path) {
    return printable(path);
}

void flush(const FileHandle& file, const std::filesystem::path& path) {
    if (::fsync(file.get()) != 0) refuse_system("cannot flush " + named(path), errno);
}

bool is_regular(const FileHandle& file) {
    struct stat status {};
    return ::fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode);
}

// A sibling under a name of its own; goes with this object.
class TemporarySibling {
 public:
    TemporarySibling(const std::filesystem::path& target, const std::string& content, mode_t mode)
        : path_(target.string() + ".new-" + std::to_string(::getpid())) {
        ::unlink(path_.c_str());
        write_new_file(path_, content, mode);
    }
    TemporarySibling(const TemporarySibling&) = delete;
    TemporarySibling& operator=(const TemporarySibling&) = delete;
    ~TemporarySibling() { ::unlink(path_.c_str()); }
    const std::filesystem::path& path() const { return path_; }

 private:
    std::filesystem::path path_;
};

std::filesystem::path folder_of(const std::filesystem::path& path) {
    return path.has_parent_path() ? path.parent_path() : std::filesystem::path(".");
}

}  // namespace

FileHandle::FileHandle(FileHandle&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}

FileHandle& FileHandle::operator=(FileHandle&& other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    return *this;
}

FileHandle::~FileHandle() {
    if (descriptor_ >= 0) ::close(descriptor_);
}

FileHandle open_for_reading(const std::string& path) {
    // O_NONBLOCK: opening a pipe must not wait for a writer; it means nothing for a regular file.
    FileHandle file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    if (!file) refuse_system("cannot open " + named(path), errno);
    if (!is_regular(file)) throw Refusal(named(path) + " is not a regular file");
    return file;
}

FileHandle open_beneath(const std::filesystem::path& folder, const std::string& path) {
    FileHandle at(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    std::size_t begin = 0;
    while (at) {
        const std::size_t end = path.find('/', begin);
        const std::string name = path.substr(begin, end == std::string::npos ? end : end - begin);
        if (name.empty() || name == "." || name == ".." || name.find('\0') != std::string::npos) {
            return {};
        }
        const bool last = end == std::string::npos;
        FileHandle next(
            ::openat(at.get(), name.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | (last ? O_NONBLOCK : O_DIRECTORY)));
        if (last) return next && is_regular(next) ? std::move(next) : FileHandle();
        at = std::move(next);
        begin = end + 1;
    }
    return {};
}

bool is_there(const std::string& path) {
    return std::filesystem::symlink_status(path).type() != std::filesystem::file_type::not_found;
}

std::vector<std::string> names_in(const std::filesystem::path& folder) {
    std::vector<std::string> names;
    if (!is_there(folder)) return names;
    for (const std::filesystem::directory_entry& found : std::filesystem::directory_iterator(folder)) {
        names.push_back(found.path().filename().string());
    }
    return names;
}

struct stat status_of(const FileHandle& file, const std::string& path) {
    struct stat status {};
    if (::fstat(file.get(), &status) != 0) refuse_system("cannot examine " + named(path), errno);
    return status;
}

std::uint64_t size_of(const FileHandle& file, const std::string& path) {
    return static_cast<std::uint64_t>(status_of(file, path).st_size);
}

void refuse_large(const std::string& path, std::uint64_t limit) {
    throw Refusal(named(path) + " is larger than " + std::to_string(limit) + " bytes");
}

std::string read_small_file(const std::filesystem::path& path, std::uint64_t limit) {
    const FileHandle file = open_for_reading(path);
    const auto size = size_of(file, path);
    if (size > limit) refuse_large(path, limit);
    std::string content(static_cast<std::size_t>(size), '\0');
    std::size_t have = 0;
    while (have < content.size()) {
        const std::size_t count = read_some(file, content.data() + have, content.size() - have, path);
        if (count == 0) throw Refusal(named(path) + " became shorter while it was read");
        have += count;
    }
    return content;
}

FileHandle create_new(const std::string& path, mode_t mode) {
    FileHandle file(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, mode));
    if (!file) refuse_system("cannot create " + named(path), errno);
    return file;
}

void write_all(const FileHandle& file, const char* data, std::size_t size, const std::string& path) {
    while (size > 0) {
        const ssize_t written = ::write(file.get(), data, size);
        if (written < 0 && errno == EINTR) continue;
        if (written < 0) refuse_system("cannot write " + named(path), errno);
        data += written;
        size -= static_cast<std::size_t>(written);
    }
}

std::size_t read_some(const FileHandle& file, char* buffer, std::size_t capacity, const std::string& path) {
    for (;;) {
        const ssize_t count = ::read(file.get(), buffer, capacity);
        if (count >= 0) return static_cast<std::size_t>(count);
        if (errno != EINTR) refuse_system("cannot read " + named(path), errno);
    }
}

void write_new_file(const std::filesystem::path& path, const std::string& content, mode_t mode) {
    const FileHandle file = create_new(path, mode);
    write_all(file, content.data(), content.size(), path);
    flush(file, path);
}

void replace_file(const std::filesystem::path& path, const std::string& content, mode_t mode) {
    const TemporarySibling sibling(path, content, mode);
    if (::rename(sibling.path().c_str(), path.c_str()) != 0) refuse_system("cannot replace " + named(path), errno);
    flush_folder(folder_of(path));
}

void create_file(const std::filesystem::path& path, const std::string& content, mode_t mode) {
    const TemporarySibling sibling(path, content, mode);
    if (::link(sibling.path().c_str(), path.c_str()) != 0) {  // unlike rename, it never replaces
        refuse_system("cannot create " + named(path), errno);
    }
    flush_folder(folder_of(path));
}

void flush_file_system(const FileHandle& file) {
    if (::syncfs(file.get()) != 0) refuse_system("cannot flush the file system", errno);
}

void flush_folder(const std::filesystem::path& folder) {
    const FileHandle handle(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!handle || ::fsync(handle.get()) != 0) refuse_system("cannot flush the folder " + named(folder), errno);
}

}  // namespace vandrel_release
