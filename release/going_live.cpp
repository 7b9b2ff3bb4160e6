#include "release/going_live.h"

#include <algorithm>
#include <iterator>
#include <optional>

#include "release/key_file.h"
#include "release/refusal.h"
#include "release/release_check.h"
#include "release/tree.h"
#include "release/tree_changes.h"
#include "release/utc_time.h"

namespace vandrel_release {
namespace {

namespace fs = std::filesystem;

void require_tree(const fs::path& tree) {
    if (!fs::is_directory(releases_folder(tree))) throw Refusal(printable(tree.string()) + " is not a tree");
}

// The key to verify with; null for each release's own.
Key key_for(const fs::path& public_key) {
    return public_key.empty() ? nullptr : load_public_key(public_key);
}

}  // namespace

void activate(const ActivateOptions& options) {
    require_tree(options.tree);
    const TreeLock lock(options.tree);
    if (!is_there(release_folder(options.tree, options.release))) {
        throw Refusal("the tree holds no release " + std::to_string(options.release));
    }
    const auto current = current_release(options.tree);
    const Key key = options.public_key.empty() && current ? load_public_key_of(release_folder(options.tree, *current))
                                                          : key_for(options.public_key);
    refuse_any(check_release(options.tree, options.release, key ? &key : nullptr, options.progress).differences);
    make_current(lock, options.release);
}

std::vector<Pruned> prune(const PruneOptions& options) {
    require_tree(options.tree);
    const TreeLock lock(options.tree);
    std::vector<std::uint32_t> releases = releases_in(options.tree);
    releases.resize(releases.size() - std::min<std::size_t>(releases.size(), options.keep));
    const auto current = current_release(options.tree);
    std::vector<Pruned> pruned;
    for (const std::uint32_t release : releases) {
        if (release == current) continue;
        pruned.push_back({release, utc_time(out_of_use_since(options.tree, release))});
        if (!options.only_show) remove_release(lock, release);
    }
    return pruned;
}

void discard_unsigned(const fs::path& tree, std::uint32_t release) {
    require_tree(tree);
    remove_unsigned(TreeLock(tree), release);
}

std::vector<VerifiedRelease> verify_tree(const VerifyTreeOptions& options) {
    require_tree(options.tree);
    const Key key = key_for(options.public_key);
    const auto current = current_release(options.tree);
    std::vector<VerifiedRelease> verified;
    std::vector<std::string> differences;
    for (const std::uint32_t release : releases_in(options.tree)) {
        ReleaseCheck check = check_release(options.tree, release, key ? &key : nullptr, options.progress);
        std::ranges::move(check.differences, std::back_inserter(differences));
        verified.push_back({release, check.file_count, check.size_bytes, release == current});
    }
    if (current && !is_there(release_folder(options.tree, *current))) {
        differences.push_back("current: names release " + std::to_string(*current) + ", which the tree does not hold");
    }
    refuse_any(std::move(differences));
    return verified;
}

}  // namespace vandrel_release
