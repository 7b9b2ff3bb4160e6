#include "release/compare.h"

#include <algorithm>
#include <string>
#include <unordered_map>

#include "release/name_conflicts.h"

namespace vandrel_release {

Comparison compare(const std::vector<ReleaseFile>& before, const std::vector<ReleaseFile>& after) {
    std::unordered_map<std::string, const ReleaseFile*> left;
    left.reserve(before.size());
    for (const ReleaseFile& file : before) left.emplace(windows_name(file.path), &file);
    Comparison result;
    for (const ReleaseFile& file : after) {
        const auto found = left.find(windows_name(file.path));
        const ReleaseFile* old = found == left.end() ? nullptr : found->second;
        if (old != nullptr) found->second = nullptr;  // not gone
        if (old != nullptr && old->size == file.size && old->sha256 == file.sha256) {
            ++result.unchanged;
            continue;
        }
        (old == nullptr ? result.added : result.changed).push_back({old, &file});
        result.fetch_bytes = add_sizes(result.fetch_bytes, file.size);
    }
    for (const ReleaseFile& file : before) {
        const auto found = left.find(windows_name(file.path));
        if (found->second == &file) result.gone.push_back({&file, nullptr});
    }
    return result;
}

std::vector<Change> largest_fetched(const Comparison& comparison, std::size_t count) {
    std::vector<Change> fetched = comparison.added;
    fetched.insert(fetched.end(), comparison.changed.begin(), comparison.changed.end());
    std::stable_sort(fetched.begin(), fetched.end(),
                     [](const Change& a, const Change& b) { return a.after->size > b.after->size; });
    fetched.resize(std::min(count, fetched.size()));
    return fetched;
}

}  // namespace vandrel_release
