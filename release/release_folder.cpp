#include "release/release_folder.h"

#include <fnmatch.h>

#include <algorithm>

#include "release/refusal.h"

namespace vandrel_release {
namespace {

namespace fs = std::filesystem;

struct Walk {
    const std::vector<std::string>& patterns;
    std::vector<bool> used;
    FolderContent content;

    bool is_skipped(const std::string& path) {
        bool skipped = false;
        for (std::size_t i = 0; i < patterns.size(); ++i) {
            if (::fnmatch(patterns[i].c_str(), path.c_str(), FNM_NOESCAPE) == 0) {
                used[i] = true;
                skipped = true;
            }
        }
        return skipped;
    }

    // True if the folder holds anything at all.
    bool enter(const fs::path& folder, const std::string& prefix) {
        bool holds_anything = false;
        for (const fs::directory_entry& found : fs::directory_iterator(folder)) {
            holds_anything = true;
            take(found, prefix + found.path().filename().string());
        }
        return holds_anything;
    }

    void take(const fs::directory_entry& found, const std::string& path) {
        const fs::file_type type = found.symlink_status().type();
        if (is_skipped(path)) {
            content.skipped.push_back(type == fs::file_type::directory ? path + "/" : path);
        } else if (type == fs::file_type::directory) {
            if (!enter(found.path(), path + "/")) content.empty_folders.push_back(path + "/");
        } else if (type == fs::file_type::regular) {
            content.files.push_back({path, found.file_size(), {}});
        } else if (type == fs::file_type::symlink) {
            throw Refusal(printable(path) + ": a symbolic link cannot be part of a release");
        } else {
            throw Refusal(printable(path) + ": neither a file nor a folder");
        }
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
