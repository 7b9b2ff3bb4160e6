// The contents of files: digests, and copies that take no room where the tree holds the same content already.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "release/files.h"

namespace vandrel_release {

// What a file really held when it was read.
struct Copied {
    std::uint64_t size = 0;
    Digest sha256{};
};

Digest sha256_of(std::string_view bytes);

// Called with the number of bytes behind each piece that was read.
using OnBytes = std::function<void(std::uint64_t)>;

// Reads a file from where its handle stands to its end; `path` is for messages. One buffer of 1 MiB, which the
// thread keeps. Throws Refusal.
Copied hash_file(const FileHandle& file, const std::string& path, const OnBytes& on_bytes);

// Puts the content of `from`, which is read once, under the new name `to`, mode 0644; size and digest are those of the
// bytes that stand there. If `twin` is a file with the very same content on the same file system, `to` becomes another
// name of it; whoever calls this never writes to either again. Two buffers of 1 MiB, which the thread keeps.
// The copy isn't durable yet. Throws Refusal with the path and the system's reason; `to` may then be half a file.
Copied copy_and_hash(const std::string& from, const std::string& to, const std::string& twin, const OnBytes& on_bytes);

}  // namespace vandrel_release
