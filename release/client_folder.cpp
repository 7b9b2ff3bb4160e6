#include "release/client_folder.h"

#include <unistd.h>

#include <optional>
#include <unordered_map>

#include "manifest/manifest_policy.h"
#include "release/copying.h"
#include "release/files.h"
#include "release/name_conflicts.h"
#include "release/parallel.h"
#include "release/refusal.h"
#include "safefs/path_guards.h"
#include "safefs/text_encoding.h"
#include "safefs/windows_path.h"
#include "winsim/world.h"

namespace vandrel_release {
namespace {

namespace fs = std::filesystem;

constexpr const wchar_t* kRoot = L"C:\\Client";
constexpr const char* kUnverifiable = "Arquivo local nao pode ser verificado.";

// What stands at the places that a release needs, by windows_name(): its files, and the folders above them.
class Places {
 public:
    explicit Places(const std::vector<ReleaseFile>& files) {
        for (const ReleaseFile& file : files) {
            std::string path = windows_name(file.path);
            while (places_.try_emplace(path).second) {
                const std::size_t slash = path.rfind('/');
                if (slash == std::string::npos) break;
                path.resize(slash);
            }
        }
    }

    // Notes what the folder holds, as far as it is needed.
    void look_into(const fs::path& folder, const std::string& prefix) {
        std::error_code unreadable;  // the helper would not see what lies in it either
        for (const fs::directory_entry& found : fs::directory_iterator(folder, unreadable)) {
            const std::string path = prefix + found.path().filename().string();
            const auto needed = places_.find(windows_name(path));
            if (needed == places_.end() || !needed->second.empty()) continue;
            needed->second = path;
            if (found.symlink_status().type() == fs::file_type::directory) look_into(found.path(), path + "/");
        }
    }

    // The path under which it stands; empty if nothing does.
    const std::string& found_at(const std::string& windows_path) const { return places_.at(windows_path); }

    template <class Use>
    void for_each_found(Use use) const {
        for (const auto& [name, path] : places_) {
            if (!path.empty()) use(path);
        }
    }

 private:
    std::unordered_map<std::string, std::string> places_;
};

std::wstring simulated(const std::string& path) {
    return vandrel::join(kRoot, vandrel::utf8_to_wide(path));
}

// The folders and the redirections of a real folder, on a simulated disk: what the helper's guards look at.
void mirror(const fs::path& folder, const Places& places, winsim::World& world) {
    world.disk.make_folder(kRoot);
    places.for_each_found([&](const std::string& path) {
        const fs::file_type type = fs::symlink_status(folder / path).type();
        if (type == fs::file_type::directory) {
            world.disk.make_folder(simulated(path));
        } else if (type != fs::file_type::regular) {
            world.disk.make_junction(simulated(path), kRoot);
        }
    });
}

bool has_file_above(const fs::path& folder, const Places& places, std::string name) {
    for (std::size_t slash = name.rfind('/'); slash != std::string::npos; slash = name.rfind('/')) {
        name.resize(slash);
        const std::string& above = places.found_at(name);
        if (!above.empty() && fs::is_regular_file(fs::symlink_status(folder / above))) return true;
    }
    return false;
}

// Why the helper would not write this file where it belongs; empty if it would.
std::string refused_place(const fs::path& folder, const Places& places, const ReleaseFile& file) {
    std::wstring error;
    if (!vandrel::validate_download_destination(kRoot, simulated(file.path), error)) {
        return vandrel::wide_to_utf8(error);
    }
    return has_file_above(folder, places, windows_name(file.path)) ? "a file stands where a folder is needed" : "";
}

FileVerdict judge_content(const fs::path& path, const ReleaseFile& file) {
    try {
        const FileHandle handle = open_for_reading(path);
        const auto size = size_of(handle, path);
        const bool same = size == file.size && hash_file(handle, path, [](std::uint64_t) {}).sha256 == file.sha256;
        if (same) return {FileState::current, ""};
        if (size <= vandrel::kLargestFile) return {FileState::changed, ""};
    } catch (const Refusal&) {  // it can't be read
    }
    return {FileState::conflict, kUnverifiable};
}

}  // namespace

std::vector<FileVerdict> judge_folder(const fs::path& folder, const std::vector<ReleaseFile>& files) {
    if (!fs::is_directory(folder)) throw Refusal(printable(folder.string()) + " is not a folder");
    std::vector<FileVerdict> verdicts(files.size());
    std::vector<std::string> found(files.size());
    {
        winsim::World world;
        const winsim::World::Guard guard(world);
        Places places(files);
        places.look_into(folder, "");
        mirror(folder, places, world);
        for (std::size_t i = 0; i < files.size(); ++i) {
            verdicts[i].words = refused_place(folder, places, files[i]);
            if (!verdicts[i].words.empty()) verdicts[i].state = FileState::conflict;
            found[i] = places.found_at(windows_name(files[i].path));
        }
    }
    for_each_index(files.size(), [&](std::size_t i) {
        if (verdicts[i].state == FileState::conflict) return;
        verdicts[i] =
            found[i].empty() ? FileVerdict{FileState::missing, ""} : judge_content(folder / found[i], files[i]);
    });
    return verdicts;
}

}  // namespace vandrel_release
