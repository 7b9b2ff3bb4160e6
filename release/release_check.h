// Releases of a tree, read back and proved.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "release/manifest_format.h"
#include "release/progress.h"
#include "release/signing_key.h"

namespace vandrel_release {

// The bytes of a release's manifest, and the files that it lists; its signature isn't looked at.
// Throw Refusal, "release N: ..." if they can't be read or are damaged.
std::string manifest_of(const std::filesystem::path& tree, std::uint32_t release);
std::vector<ReleaseFile> files_of_release(const std::filesystem::path& tree, std::uint32_t release);

// Whether a well-formed manifest verifies with the key. Throws Refusal if it isn't well formed.
bool is_signed_with(const Key& key, std::string_view manifest);

struct ReleaseCheck {
    std::uint64_t file_count = 0;  // in the manifest
    std::uint64_t size_bytes = 0;
    std::vector<std::string> differences;  // "release N: ..."; none if the release is what was signed
};

// Reads all of a release again, every file's content included, on all processors. `key` null: its own public.pem. The
// differences:
//   "manifest.bin: WORDS" (it can't be read, or is damaged: nothing else is looked at then)
//   "manifest.bin: is that of release M", "manifest.bin: the signature does not verify with KEY"
//   "PATH: is missing", "PATH: has N bytes, not M", "PATH: has another content", "PATH: cannot be read"
//   "PATH: is not in the manifest", for a file that no client is served
ReleaseCheck check_release(const std::filesystem::path& tree, std::uint32_t release, const Key* key,
                           std::ostream* progress);

}  // namespace vandrel_release
