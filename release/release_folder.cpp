#include "release/release_folder.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <string_view>

#include "release/files.h"
#include "release/refusal.h"

namespace vandrel_release {
namespace {

namespace fs = std::filesystem;

bool continues_character(char unit) {
    return (static_cast<unsigned char>(unit) & 0xC0U) == 0x80U;
}

// Where the UTF-8 character at `at` ends.
std::size_t end_of_character(std::string_view text, std::size_t at) {
    do {
        ++at;
    } while (at < text.size() && continues_character(text[at]));
    return at;
}

bool matches(std::string_view pattern, std::string_view path) {
    std::size_t in = 0;
    std::size_t at = 0;
    std::size_t star = std::string_view::npos;
    std::size_t star_at = 0;
    while (at < path.size()) {
        if (in < pattern.size() && pattern[in] == '*') {
            star = in++;
            star_at = at;
        } else if (in < pattern.size() && pattern[in] == '?') {
            ++in;
            at = end_of_character(path, at);
        } else if (in < pattern.size() && pattern[in] == path[at]) {
            ++in;
            ++at;
        } else if (star != std::string_view::npos) {
            in = star + 1;
            at = ++star_at;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*', in) == std::string_view::npos;
}

struct CloseFolder {
    void operator()(DIR* folder) const { ::closedir(folder); }
};

struct Walk {
    const std::vector<std::string>& patterns;
    std::vector<bool> used;
    FolderContent content;

    void refuse(const std::string& path, const std::string& words) {
        content.refusals.push_back(printable(path) + ": " + words);
    }

    bool is_skipped(const std::string& path, bool is_folder) {
        bool skipped = false;
        for (std::size_t i = 0; i < patterns.size(); ++i) {
            std::string_view pattern = patterns[i];
            if (is_folder && pattern.ends_with('/')) pattern.remove_suffix(1);
            if (matches(pattern, path)) {
                used[i] = true;
                skipped = true;
            }
        }
        return skipped;
    }

    // `prefix` is the folder's path within the release's folder, with a "/" behind it.
    void enter(const FileHandle& folder, const std::string& prefix) {
        const std::unique_ptr<DIR, CloseFolder> names(::fdopendir(::dup(folder.get())));
        if (!names) refuse_system("cannot list " + printable(prefix), errno);
        bool is_empty = true;
        // NOLINTNEXTLINE(concurrency-mt-unsafe): of a handle that no other thread has
        while (const dirent* entry = ::readdir(names.get())) {
            const std::string_view name = entry->d_name;
            if (name == "." || name == "..") continue;
            is_empty = false;
            take(folder, entry->d_name, prefix + entry->d_name);
        }
        if (is_empty && !prefix.empty()) content.empty_folders.push_back(prefix);
    }

    void take(const FileHandle& folder, const char* name, const std::string& path) {
        struct stat status {};
        if (::fstatat(folder.get(), name, &status, AT_SYMLINK_NOFOLLOW) != 0) {
            refuse_system("cannot examine " + printable(path), errno);
        }
        const bool is_folder = S_ISDIR(status.st_mode);
        if (is_skipped(path, is_folder)) {
            content.skipped.push_back(is_folder ? path + "/" : path);
        } else if (is_folder) {
            const FileHandle inner(::openat(folder.get(), name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
            if (inner) enter(inner, path + "/");
            if (!inner) refuse_unreadable(path + "/");
        } else if (S_ISLNK(status.st_mode)) {
            refuse(path, "a symbolic link cannot be part of a release");
        } else if (S_ISREG(status.st_mode)) {
            if (::faccessat(folder.get(), name, R_OK, AT_EACCESS) != 0) refuse_unreadable(path);
            add_file(path, static_cast<std::uint64_t>(status.st_size));
        } else {
            refuse(path, "neither a file nor a folder");
        }
    }

    void refuse_unreadable(const std::string& path) {
        refuse(path, "cannot be read: " + std::system_category().message(errno));
    }

    void add_file(const std::string& path, std::uint64_t size) {
        if (content.files.size() == kMaxEntries) {
            throw Refusal("the folder holds more than " + std::to_string(kMaxEntries) +
                          " files, which is what a manifest holds at most");
        }
        content.files.push_back({path, size, {}});
    }
};

}  // namespace

FolderContent list_release_folder(const fs::path& folder, const std::vector<std::string>& skip_patterns) {
    if (!fs::is_directory(folder)) throw Refusal(printable(folder.string()) + " is not a folder");
    Walk walk{skip_patterns, std::vector<bool>(skip_patterns.size(), false), {}};
    const FileHandle top(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!top) refuse_system("cannot open " + printable(folder.string()), errno);
    walk.enter(top, "");
    FolderContent& content = walk.content;
    std::sort(content.files.begin(), content.files.end(),
              [](const ReleaseFile& a, const ReleaseFile& b) { return a.path < b.path; });
    std::sort(content.skipped.begin(), content.skipped.end());
    std::sort(content.empty_folders.begin(), content.empty_folders.end());
    for (std::size_t i = 0; i < skip_patterns.size(); ++i) {
        if (!walk.used[i]) content.idle_patterns.push_back(skip_patterns[i]);
    }
    return std::move(content);
}

}  // namespace vandrel_release
