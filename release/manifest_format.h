// The signed manifest as bytes: written by `publish`, listed by `serve`. The layout stands in docs/publishing.md.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "release/files.h"

namespace vandrel_release {

inline constexpr std::uint32_t kMaxEntries = 100000;
inline constexpr std::uint64_t kMaxManifestBytes = 16U << 20U;  // what the helper accepts from the endpoint, inclusive
inline constexpr std::size_t kMaxPathBytes = 4096;
inline constexpr std::size_t kSignatureBytes = 384;
inline constexpr std::size_t kSignatureBlockBytes = 6 + kSignatureBytes;  // "SIG1", its length, and itself

// One file of a release.
struct ReleaseFile {
    std::string path;  // UTF-8, "/" separators
    std::uint64_t size = 0;
    Digest sha256{};
};

// A sum of sizes; the largest number there is if it would be larger, since a stranger's manifest may claim anything.
std::uint64_t add_sizes(std::uint64_t one, std::uint64_t other);
std::uint64_t total_size(const std::vector<ReleaseFile>& files);

// Size in bytes of the finished manifest, signature included.
std::uint64_t manifest_size(const std::vector<ReleaseFile>& files);

// The part of the manifest that is signed: header and entries, in the order given. Throws Refusal if there are more
// than kMaxEntries files, if a path is empty or longer than kMaxPathBytes, or if the finished manifest would be too
// large.
std::string signed_range(std::uint32_t release, const std::vector<ReleaseFile>& files);

// The finished manifest: signed range, "SIG1", length, signature. The signature has kSignatureBytes bytes.
std::string finished_manifest(std::string_view range, std::string_view signature);

struct Listing {
    std::uint32_t release = 0;
    std::vector<ReleaseFile> files;  // in the manifest's order
};

// Reads a finished manifest back. Its form is checked to the last byte, its signature is not. Throws Refusal with
// "the manifest is damaged at byte N".
Listing list_manifest(std::string_view manifest);

}  // namespace vandrel_release
