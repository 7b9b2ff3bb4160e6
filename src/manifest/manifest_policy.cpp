#include "manifest/manifest_policy.h"

#include <algorithm>
#include <set>
#include <string>
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

// Orders UTF-8 paths as their case-folded UTF-16 forms compare, unit by unit, without making those forms: a release may
// list 100000 paths. UTF-8 compares as code points do, but for characters beyond U+FFFF (first byte from 0xF0 on):
// their surrogates come before U+E000 to U+FFFF (first byte 0xEE or 0xEF).
struct FoldedOrder {
    bool operator()(std::string_view a, std::string_view b) const {
        const std::size_t common = std::min(a.size(), b.size());
        for (std::size_t i = 0; i < common; ++i) {
            const unsigned char left = fold_byte(a[i]);
            const unsigned char right = fold_byte(b[i]);
            if (left == right) continue;
            const bool beyond_surrogates = left >= 0xEE && right >= 0xEE && (left >= 0xF0) != (right >= 0xF0);
            return beyond_surrogates ? left > right : left < right;
        }
        return a.size() < b.size();
    }
};

using PathSet = std::set<std::string_view, FoldedOrder>;

constexpr const wchar_t* kConflict = L"Arquivo conflita com diretorio.";

void check_target(const ManifestEntry& entry, const LaunchOptions& options) {
    const std::wstring target = join(options.client_root, utf8_to_wide(entry.path));
    std::wstring error;
    if (!validate_download_destination(options.client_root, target, error)) throw Failure(std::move(error));
}

// A file listed before something beneath it.
void check_ancestors(std::string_view path, const PathSet& seen) {
    for (std::size_t slash = path.rfind('/'); slash != std::string_view::npos; slash = path.rfind('/')) {
        path = path.substr(0, slash);
        if (seen.contains(path)) throw Failure(kConflict);
    }
}

bool begins_with_folded(std::string_view path, std::string_view prefix) {
    return path.size() >= prefix.size() &&
           std::ranges::equal(path.substr(0, prefix.size()), prefix,
                              [](char a, char b) { return fold_byte(a) == fold_byte(b); });
}

// A file listed after something beneath it.
void check_descendants(const PathSet& seen) {
    for (const std::string_view path : seen) {
        const std::string folder = std::string(path) + "/";
        const auto next = seen.lower_bound(folder);
        if (next != seen.end() && begins_with_folded(*next, folder)) throw Failure(kConflict);
    }
}

}  // namespace

void validate_manifest_policy(const std::vector<ManifestEntry>& entries, std::uint32_t release,
                              const LaunchOptions& options) {
    require(release != 0 && !entries.empty(), L"Release vazia ou invalida.");
    PathSet seen;
    std::uint64_t total = 0;
    for (const ManifestEntry& entry : entries) {
        if (!is_managed_path(entry, options)) throw Failure(L"Caminho nao gerenciado no manifesto.");
        if (!seen.insert(entry.path).second) throw Failure(L"Caminho repetido no manifesto.");
        if (entry.size > kLargestFile || total > kLargestReleaseTotal - entry.size) {
            throw Failure(L"Release excede limite de tamanho.");
        }
        total += entry.size;
        check_target(entry, options);
        check_ancestors(entry.path, seen);
    }
    check_descendants(seen);
    require(seen.contains("init.lua") && seen.contains(wide_to_utf8(options.client_executable)),
            L"Manifesto sem init.lua ou backend selecionado.");
}

}  // namespace vandrel
