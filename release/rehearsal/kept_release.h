// A release of the tree as a rehearsal sees it: its list, and its files, read where they lie and never written to.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "winsim/bytes.h"
#include "winsim/player/oracle.h"

namespace vandrel_release {

struct KeptFile {
    std::string path;                              // in the manifest
    std::wstring target;                           // where a player has it: a full path
    std::shared_ptr<const winsim::Source> source;  // as long as the manifest says
    std::shared_ptr<const winsim::Bytes> contents;
};

class KeptRelease {
 public:
    // Throws Refusal if the tree has no such release, or its manifest is damaged. Files aren't looked at: one that is
    // missing or shorter makes whoever reads it throw Refusal.
    KeptRelease(const std::filesystem::path& tree, std::uint32_t number);

    std::uint32_t number() const { return number_; }
    const std::string& manifest() const { return manifest_; }
    const std::vector<KeptFile>& files() const { return files_; }  // in the manifest's order
    // A file by its path in the manifest, or null.
    const KeptFile* find(const std::string& path) const;

    // What stands in a player's folder once the release is there, by folded paths.
    player::Layout layout() const;
    // Throws Refusal at the first file that is missing or has another size than the manifest says.
    void require_files(const std::filesystem::path& tree) const;

 private:
    std::uint32_t number_;
    std::string manifest_;
    std::vector<KeptFile> files_;
    std::unordered_map<std::string, std::size_t> index_;
};

}  // namespace vandrel_release
