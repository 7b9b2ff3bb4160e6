// A release of the client as its signed manifest describes it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "base/bytes.h"

namespace vandrel {

// One file: what stands, or is to stand, at a path.
struct ManifestEntry {
    std::string_view path;  // UTF-8, "/" between components; the bytes belong to the manifest's `storage`
    std::uint64_t size = 0;
    Digest sha256{};
};

// What stands before the last "/" of such a path; nothing if it has none.
inline std::string_view folder_of(std::string_view path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string_view::npos ? std::string_view() : path.substr(0, slash);
}

// One verified release. The document is kept where it came in, from the server or within a recovery record, and the
// entries' paths are views into it: a manifest may have 16 MiB and 100000 entries, and a run has no room for it twice.
// So a Manifest is moved, never copied; moving leaves the bytes where they are, and the views good.
struct Manifest {
    Manifest() = default;
    Manifest(Manifest&&) = default;
    Manifest& operator=(Manifest&&) = default;
    Manifest(const Manifest&) = delete;
    Manifest& operator=(const Manifest&) = delete;
    ~Manifest() = default;

    Bytes storage;                               // what was received or read
    std::span<const std::uint8_t> signed_bytes;  // of it, the whole document, header through signature
    std::vector<ManifestEntry> entries;
    std::uint32_t release = 0;
};

}  // namespace vandrel
