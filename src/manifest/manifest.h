// A release of the client as its signed manifest describes it.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "base/bytes.h"

namespace vandrel {

// One file: what stands, or is to stand, at a path.
struct ManifestEntry {
    std::string_view path;  // UTF-8, "/" between components; the bytes belong to the manifest's document
    std::uint64_t size = 0;
    Digest sha256{};
};

// One verified release. The entries' paths are views into `signed_bytes`, which keeps a manifest of 100000 entries
// small; so a Manifest is moved, never copied.
struct Manifest {
    Manifest() = default;
    Manifest(Manifest&&) = default;
    Manifest& operator=(Manifest&&) = default;
    Manifest(const Manifest&) = delete;
    Manifest& operator=(const Manifest&) = delete;
    ~Manifest() = default;

    Bytes signed_bytes;  // the whole document, header through signature, as received
    std::vector<ManifestEntry> entries;
    std::uint32_t release = 0;
};

}  // namespace vandrel
