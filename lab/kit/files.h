// Files and folders of the kit.
#pragma once

#include <filesystem>
#include <string>

namespace kit {

// The extracted archive, and the folder in it that everything happens in.
struct Place {
    std::filesystem::path kit;
    std::filesystem::path work;

    std::filesystem::path client() const { return work / "client"; }
    std::filesystem::path temporary() const { return work / "temp"; }  // the one that programs find as TMP
};

// Throws std::runtime_error if it can't be read.
std::string content_of(const std::filesystem::path& file);

// Copies what is in one folder into another, which may be there. Throws std::filesystem::filesystem_error.
void copy_tree(const std::filesystem::path& from, const std::filesystem::path& to);

// Removes a file, or a folder with all that it holds, read-only files included; follows no link. True if nothing is
// there any more, false if something has stayed for more than a few seconds.
bool remove_tree(const std::filesystem::path& path);

}  // namespace kit
