// Which release of a tree clients get, and which ones stay: `activate`, `prune` and `verify-tree`.
#pragma once

#include <cstdint>
#include <filesystem>
#include <iosfwd>
#include <string>
#include <vector>

namespace vandrel_release {

struct ActivateOptions {
    std::filesystem::path tree;
    std::uint32_t release = 0;
    std::filesystem::path public_key;  // PEM; empty: that of the current release, or its own if there is no current one
    std::ostream* progress = nullptr;
};

// Makes a release of the tree the one that clients get, an older one or a draft, without the private key: once all of
// its files, and its signature, are proved by check_release. Success: it is durable. Throws Refusals with the
// differences, or Refusal; clients then get what they got.
void activate(const ActivateOptions& options);

struct PruneOptions {
    std::filesystem::path tree;
    std::uint32_t keep = 0;  // this many with the highest numbers stay, and the current one in any case
    bool only_show = false;
};

struct Pruned {
    std::uint32_t release = 0;
    std::string unused_since;  // "2026-01-31T12:00:00Z": see out_of_use_since
};

// Removes old releases, in ascending order, and gives what it has removed, or would remove. Throws Refusal; what was
// removed until then is gone.
std::vector<Pruned> prune(const PruneOptions& options);

// Removes a release that waits for its signature, so that its number is free again. A signature that was made for it is
// good for the very same files alone. Throws Refusal if it doesn't wait.
void discard_unsigned(const std::filesystem::path& tree, std::uint32_t release);

struct VerifyTreeOptions {
    std::filesystem::path tree;
    std::filesystem::path public_key;  // PEM; empty: each release's own
    std::ostream* progress = nullptr;
};

struct VerifiedRelease {
    std::uint32_t release = 0;
    std::uint64_t file_count = 0;
    std::uint64_t size_bytes = 0;
    bool is_current = false;
};

// Reads every release of the tree again and changes nothing. Throws Refusals with all that isn't as it was signed, and
// "current: names release N, which the tree does not hold".
std::vector<VerifiedRelease> verify_tree(const VerifyTreeOptions& options);

}  // namespace vandrel_release
