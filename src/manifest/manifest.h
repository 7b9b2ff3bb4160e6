// A release of the client as its signed manifest describes it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "base/bytes.h"

namespace vandrel {

// One file: what stands, or is to stand, at a path.
struct ManifestEntry {
    std::string_view path;  // UTF-8, "/" between components; the bytes belong to the manifest's document
    std::uint64_t size = 0;
    Digest sha256{};
};

// A signed manifest's bytes as received, in a buffer with room around them. A recovery record holds the same bytes,
// with up to 40 in front and the plan behind: it is made around them, in place, since a second copy of 16 MiB is what a
// run has no room for. The document never moves while the object lives, nor when the object is moved.
class SignedBytes {
 public:
    static constexpr std::size_t kRoomInFront = 40;
    static constexpr std::size_t kLargestBuffer = 33554432;  // 32 MiB; touched only as far as it is written

    // No document and no room behind.
    SignedBytes() : buffer_(kRoomInFront) {}
    // No document yet, and room for a buffer of kLargestBuffer: the one allocation of a document's life.
    static SignedBytes with_room();
    // Takes over a buffer in which `size` bytes of document stand behind the room in front, with the room it has.
    SignedBytes(Bytes&& buffer, std::size_t size) : buffer_(std::move(buffer)), size_(size) {}

    std::size_t size() const { return size_; }
    std::span<const std::uint8_t> document() const { return std::span(buffer_).subspan(kRoomInFront, size_); }

    // Makes the document longer, by room_behind() bytes at most.
    void append(std::span<const std::uint8_t> piece);

    // What may stand behind the document.
    std::size_t room_behind() const { return buffer_.capacity() - kRoomInFront - size_; }
    // Puts `head`, of kRoomInFront bytes at most, directly in front of the document and cuts the buffer behind it.
    // The caller appends to the buffer that it gets, room_behind() bytes at most.
    Bytes& surround(std::span<const std::uint8_t> head);
    // `head_size` bytes of the head, the document, and what stands behind it.
    std::span<const std::uint8_t> surrounded(std::size_t head_size) const;

 private:
    Bytes buffer_;
    std::size_t size_ = 0;
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

    SignedBytes signed_bytes;  // the whole document, header through signature
    std::vector<ManifestEntry> entries;
    std::uint32_t release = 0;
};

}  // namespace vandrel
