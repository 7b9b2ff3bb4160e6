#include "release/release_folder.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>

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
    std::size_t in = 0, at = 0, star = std::string_view::npos, star_at = 0;
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

    void enter(const fs::path& folder, const std::string& prefix) {
        std::error_code error;
        fs::directory_iterator found(folder, error);
        if (error) return refuse(prefix, "cannot be read: " + std::string(std::strerror(error.value())));
        if (found == fs::directory_iterator() && !prefix.empty()) content.empty_folders.push_back(prefix);
        for (const fs::directory_entry& entry : found) take(entry, prefix + entry.path().filename().string());
    }

    void take(const fs::directory_entry& found, const std::string& path) {
        const bool is_link = found.is_symlink();
        const bool is_folder = !is_link && found.is_directory();
        if (is_skipped(path, is_folder)) {
            content.skipped.push_back(is_folder ? path + "/" : path);
        } else if (is_folder) {
            enter(found.path(), path + "/");
        } else if (is_link) {
            refuse(path, "a symbolic link cannot be part of a release");
        } else if (found.is_regular_file()) {
            take_file(found, path);
        } else {
            refuse(path, "neither a file nor a folder");
        }
    }

    void take_file(const fs::directory_entry& found, const std::string& path) {
        if (content.files.size() == kMaxEntries) {
            throw Refusal("the folder holds more than " + std::to_string(kMaxEntries) +
                          " files, which is what a manifest holds at most");
        }
        if (::faccessat(AT_FDCWD, found.path().c_str(), R_OK, AT_EACCESS) != 0) {
            refuse(path, "cannot be read: " + std::string(std::strerror(errno)));
        }
        content.files.push_back({path, found.file_size(), {}});
    }
};

}  // namespace

FolderContent list_release_folder(const fs::path& folder, const std::vector<std::string>& skip_patterns) {
    if (!fs::is_directory(folder)) throw Refusal(printable(folder.string()) + " is not a folder");
    Walk walk{skip_patterns, std::vector<bool>(skip_patterns.size(), false), {}};
    walk.enter(folder, "");
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
