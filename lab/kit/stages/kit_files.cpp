#include "lab/kit/stages/kit_files.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>

#include "winsim/player/machine.h"

namespace kit_stages {

namespace fs = std::filesystem;

std::string content_of(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    if (!stream) throw std::runtime_error("can't read " + file.string());
    return {std::istreambuf_iterator<char>(stream), {}};
}

Files files_of(const fs::path& folder) {
    Files files;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
        if (entry.is_regular_file()) files[fs::relative(entry, folder).generic_string()] = content_of(entry);
    }
    return files;
}

std::ofstream written(const fs::path& file) {
    fs::create_directories(file.parent_path());
    std::ofstream stream(file, std::ios::binary);
    stream.exceptions(std::ios::failbit | std::ios::badbit);
    return stream;
}

std::wstring with_backslashes(std::wstring path) {
    std::ranges::replace(path, L'/', L'\\');
    return path;
}

std::wstring on_disk(const std::wstring& path) {
    return std::wstring(player::kRoot) + L"\\" + with_backslashes(path);
}

std::string in_folder(const std::wstring& path) {
    std::string relative = player::narrow(path.substr(std::wstring_view(player::kRoot).size() + 1));
    std::ranges::replace(relative, '\\', '/');
    return relative;
}

std::string source_of(const Kit& kit, const std::string& path, const std::string& content) {
    for (const auto& [files, side] : {std::pair(&kit.old_files, "old/"), std::pair(&kit.new_files, "new/")}) {
        for (const auto& [name, known] : *files) {
            if (path.ends_with(name) && known == content) return side + name;
        }
    }
    return path.ends_with(".transaction") ? "record" : "edited";
}

}  // namespace kit_stages
