// The two releases of the kit, and its files by their names on this machine and on the simulated one.
#pragma once

#include <filesystem>
#include <fstream>
#include <map>
#include <string>

namespace kit_stages {

using Files = std::map<std::string, std::string>;  // content by path, with "/"

struct Kit {
    Files old_files;
    Files new_files;
    std::string manifest;
    std::filesystem::path out;
};

// Reading and writing throw std::runtime_error or what derives from it. `written` makes the folders on the way, too.
std::string content_of(const std::filesystem::path& file);
Files files_of(const std::filesystem::path& folder);
std::ofstream written(const std::filesystem::path& file);

// A path within the client's folder: "data/a.dat" on this machine, "C:\\Game\\data\\a.dat" on the simulated one.
std::wstring on_disk(const std::wstring& path);
std::string in_folder(const std::wstring& path);
std::wstring with_backslashes(std::wstring path);

// The kit's file whose content stands at `path` (of this machine), there or in a transaction's folder: "old/init.lua";
// "record" for a record, and "edited" for everything else. client_folder.cpp looks for it in the same way.
std::string source_of(const Kit& kit, const std::string& path, const std::string& content);

}  // namespace kit_stages
