#include "manifest/manifest_policy.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <string_view>

#include "base/failure.h"
#include "safefs/path_guards.h"
#include "safefs/text_encoding.h"
#include "safefs/windows_path.h"

namespace vandrel {

namespace {

// Where a byte of a path stands in the order of paths: "/" before all others, and letters without regard to case.
int rank_of(char byte) {
    if (byte == '/') return -1;
    return static_cast<unsigned char>(byte >= 'A' && byte <= 'Z' ? byte - 'A' + 'a' : byte);
}

// Orders UTF-8 paths without making folded copies: a release may list 100000 paths. Paths are equal in this order if,
// and only if, their folded UTF-16 forms are; and what lies beneath a path comes directly behind it.
struct FoldedOrder {
    bool operator()(std::string_view a, std::string_view b) const {
        const std::size_t common = std::min(a.size(), b.size());
        for (std::size_t i = 0; i < common; ++i) {
            if (a[i] == b[i]) continue;
            const int left = rank_of(a[i]);
            const int right = rank_of(b[i]);
            if (left != right) return left < right;
        }
        return a.size() < b.size();
    }
};

using PathSet = std::set<std::string_view, FoldedOrder>;

constexpr const wchar_t* kConflict = L"Arquivo conflita com diretorio.";

// A refusal of the entry's place in the client's folder; empty if the place will do.
std::wstring refused_target(const ManifestEntry& entry, const LaunchOptions& options) {
    const std::wstring target = join(options.client_root, utf8_to_wide(entry.path));
    std::wstring error;
    validate_download_destination(options.client_root, target, error);
    return error;
}

// What has been read of the release so far.
struct Seen {
    PathSet paths;
    PathSet::const_iterator next = paths.end();  // behind the last path: where the next one belongs if they are sorted
    std::uint64_t total = 0;
    std::string_view folder;  // of the last path; none of the paths is this folder or one above it
};

// Whether a file is listed whose path is a folder of `path`. Most files lie in the folder of the one before them.
bool has_file_above(std::string_view path, Seen& seen) {
    if (folder_of(path) == seen.folder) return false;
    seen.folder = folder_of(path);
    for (std::string_view folder = seen.folder; !folder.empty(); folder = folder_of(folder)) {
        if (seen.paths.contains(folder)) return true;
    }
    return false;
}

// What is wrong with one entry beside all those before it; empty if nothing is, and it is one of them then.
std::wstring judge_entry(const ManifestEntry& entry, const LaunchOptions& options, Seen& seen) {
    if (!is_managed_path(entry, options)) return L"Caminho nao gerenciado no manifesto.";
    const std::size_t before = seen.paths.size();
    seen.next = std::next(seen.paths.insert(seen.next, entry.path));
    if (seen.paths.size() == before) return L"Caminho repetido no manifesto.";
    if (entry.size > kLargestFile || seen.total > kLargestReleaseTotal - entry.size) {
        return L"Release excede limite de tamanho.";
    }
    seen.total += entry.size;
    std::wstring refusal = refused_target(entry, options);
    if (!refusal.empty()) return refusal;
    return has_file_above(entry.path, seen) ? kConflict : L"";
}

// The paths that were seen are those of the entries themselves, so they are told by where they lie.
std::size_t index_of(std::string_view path, const std::vector<ManifestEntry>& entries) {
    const auto found = std::ranges::find(entries, path.data(), [](const ManifestEntry& e) { return e.path.data(); });
    return static_cast<std::size_t>(found - entries.begin());
}

bool is_beneath(std::string_view path, std::string_view folder) {
    return path.size() > folder.size() && path[folder.size()] == '/' &&
           std::ranges::equal(path.substr(0, folder.size()), folder, {}, rank_of, rank_of);
}

// A file listed after something beneath it.
std::optional<PolicyBreach> find_file_beneath(const PathSet& paths, const std::vector<ManifestEntry>& entries) {
    const auto found = std::ranges::adjacent_find(
        paths, [](std::string_view path, std::string_view next) { return is_beneath(next, path); });
    if (found == paths.end()) return std::nullopt;
    return PolicyBreach{std::max(index_of(*found, entries), index_of(*std::next(found), entries)), kConflict};
}

}  // namespace

std::optional<PolicyBreach> find_policy_breach(const std::vector<ManifestEntry>& entries, std::uint32_t release,
                                               const LaunchOptions& options) {
    if (release == 0 || entries.empty()) return PolicyBreach{std::nullopt, L"Release vazia ou invalida."};
    Seen seen;
    for (std::size_t index = 0; index < entries.size(); ++index) {
        std::wstring text = judge_entry(entries[index], options, seen);
        if (!text.empty()) return PolicyBreach{index, std::move(text)};
    }
    if (auto conflict = find_file_beneath(seen.paths, entries)) return conflict;
    if (!seen.paths.contains("init.lua") || !seen.paths.contains(wide_to_utf8(options.client_executable))) {
        return PolicyBreach{std::nullopt, L"Manifesto sem init.lua ou backend selecionado."};
    }
    return std::nullopt;
}

void validate_manifest_policy(const std::vector<ManifestEntry>& entries, std::uint32_t release,
                              const LaunchOptions& options) {
    if (auto breach = find_policy_breach(entries, release, options)) throw Failure(std::move(breach->text));
}

}  // namespace vandrel
