#include "release/name_conflicts.h"

#include <openssl/asn1.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <unordered_map>

#include "manifest/manifest.h"
#include "winsim/disk_names.h"

namespace vandrel_release {
namespace {

using vandrel::folder_of;

unsigned long fold_of(unsigned long unit) {
    return std::char_traits<wchar_t>::to_int_type(winsim::fold(static_cast<wchar_t>(unit)));
}

struct Search {
    std::vector<std::string> names;
    std::unordered_map<std::string_view, std::size_t> files;  // by name: the first that has it
    std::vector<bool> refused;
    std::vector<NameConflict> conflicts;

    explicit Search(const std::vector<ReleaseFile>& listed) : refused(listed.size(), false) {
        names.reserve(listed.size());
        files.reserve(listed.size());
        for (const ReleaseFile& file : listed) names.push_back(windows_name(file.path));
    }

    void add(std::size_t one, std::size_t other, bool same_name) {
        const auto [earlier, later] = std::minmax(one, other);
        if (refused[earlier] || refused[later]) return;
        refused[later] = true;
        conflicts.push_back({earlier, later, same_name});
    }

    void find_same_names() {
        for (std::size_t index = 0; index < names.size(); ++index) {
            const auto [found, is_new] = files.emplace(names[index], index);
            if (!is_new) add(found->second, index, true);
        }
    }

    void find_files_above(std::size_t index) {
        for (auto folder = folder_of(names[index]); !folder.empty(); folder = folder_of(folder)) {
            if (const auto found = files.find(folder); found != files.end()) add(found->second, index, false);
        }
    }
};

}  // namespace

std::string windows_name(const std::string& path) {
    std::string name;
    name.reserve(path.size());
    for (std::size_t at = 0; at < path.size();) {
        const auto* bytes = reinterpret_cast<const unsigned char*>(path.data()) + at;
        unsigned long character = 0;
        const int length = UTF8_getc(bytes, static_cast<int>(std::min<std::size_t>(path.size() - at, 4)), &character);
        if (length <= 0) return path;
        at += static_cast<std::size_t>(length);
        // Beyond 16 bits a character is two units, neither of which has a case.
        if (character <= 0xFFFF) character = fold_of(character);
        std::array<unsigned char, 4> folded{};
        const int folded_length = UTF8_putc(folded.data(), static_cast<int>(folded.size()), character);
        if (folded_length <= 0) return path;
        name.append(reinterpret_cast<const char*>(folded.data()), static_cast<std::size_t>(folded_length));
    }
    return name;
}

std::vector<NameConflict> find_name_conflicts(const std::vector<ReleaseFile>& files) {
    Search search(files);
    search.find_same_names();
    std::string_view
        clean;  // a folder that nothing stands in the way of; most files lie where the one before them does
    for (std::size_t index = 0; index < files.size(); ++index) {
        const std::string_view folder = folder_of(search.names[index]);
        if (folder == clean) continue;
        const std::size_t before = search.conflicts.size();
        search.find_files_above(index);
        if (search.conflicts.size() == before && !search.refused[index]) clean = folder;
    }
    return std::move(search.conflicts);
}

}  // namespace vandrel_release
