#include "manifest/manifest_policy.h"

#include <algorithm>
#include <set>
#include <string_view>

#include "base/failure.h"
#include "safefs/path_guards.h"
#include "safefs/text_encoding.h"
#include "safefs/windows_path.h"

namespace vandrel {

namespace {

unsigned char fold_byte(char byte) {
    return static_cast<unsigned char>(byte >= 'A' && byte <= 'Z' ? byte - 'A' + 'a' : byte);
}

// Orders UTF-8 paths by their case-folded bytes, without making folded copies: a release may list 100000 paths. Paths
// are equal in this order if, and only if, their folded UTF-16 forms are, and those that begin with one text stand
// together.
struct FoldedOrder {
    bool operator()(std::string_view a, std::string_view b) const {
        const std::size_t common = std::min(a.size(), b.size());
        for (std::size_t i = 0; i < common; ++i) {
            if (a[i] == b[i]) continue;
            const unsigned char left = fold_byte(a[i]);
            const unsigned char right = fold_byte(b[i]);
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

// Whether a file is listed whose path is a folder of `path`.
bool has_file_above(std::string_view path, const PathSet& seen) {
    for (std::size_t slash = path.rfind('/'); slash != std::string_view::npos; slash = path.rfind('/')) {
        path = path.substr(0, slash);
        if (seen.contains(path)) return true;
    }
    return false;
}

bool begins_with_folded(std::string_view path, std::string_view prefix) {
    return std::ranges::equal(path.substr(0, prefix.size()), prefix, {}, fold_byte, fold_byte);
}

// What is wrong with one entry beside all those before it, `total` bytes; empty if nothing is. Adds it to both.
std::wstring judge_entry(const ManifestEntry& entry, const LaunchOptions& options, PathSet& seen,
                         std::uint64_t& total) {
    if (!is_managed_path(entry, options)) return L"Caminho nao gerenciado no manifesto.";
    if (!seen.insert(entry.path).second) return L"Caminho repetido no manifesto.";
    if (entry.size > kLargestFile || total > kLargestReleaseTotal - entry.size) {
        return L"Release excede limite de tamanho.";
    }
    total += entry.size;
    std::wstring refusal = refused_target(entry, options);
    if (!refusal.empty()) return refusal;
    return has_file_above(entry.path, seen) ? kConflict : L"";
}

// The paths of `seen` are those of the entries themselves, so they are told by where they lie.
std::size_t index_of(std::string_view path, const std::vector<ManifestEntry>& entries) {
    const auto found = std::ranges::find(entries, path.data(), [](const ManifestEntry& e) { return e.path.data(); });
    return static_cast<std::size_t>(found - entries.begin());
}

// A file listed after something beneath it.
std::optional<PolicyBreach> find_file_beneath(const PathSet& seen, const std::vector<ManifestEntry>& entries) {
    for (const std::string_view path : seen) {
        const std::string folder = std::string(path) + "/";
        const auto next = seen.lower_bound(folder);
        if (next != seen.end() && begins_with_folded(*next, folder)) {
            return PolicyBreach{std::max(index_of(path, entries), index_of(*next, entries)), kConflict};
        }
    }
    return std::nullopt;
}

}  // namespace

std::optional<PolicyBreach> find_policy_breach(const std::vector<ManifestEntry>& entries, std::uint32_t release,
                                               const LaunchOptions& options) {
    if (release == 0 || entries.empty()) return PolicyBreach{std::nullopt, L"Release vazia ou invalida."};
    PathSet seen;
    std::uint64_t total = 0;
    for (std::size_t index = 0; index < entries.size(); ++index) {
        std::wstring text = judge_entry(entries[index], options, seen, total);
        if (!text.empty()) return PolicyBreach{index, std::move(text)};
    }
    if (auto conflict = find_file_beneath(seen, entries)) return conflict;
    if (!seen.contains("init.lua") || !seen.contains(wide_to_utf8(options.client_executable))) {
        return PolicyBreach{std::nullopt, L"Manifesto sem init.lua ou backend selecionado."};
    }
    return std::nullopt;
}

void validate_manifest_policy(const std::vector<ManifestEntry>& entries, std::uint32_t release,
                              const LaunchOptions& options) {
    if (auto breach = find_policy_breach(entries, release, options)) throw Failure(std::move(breach->text));
}

}  // namespace vandrel
