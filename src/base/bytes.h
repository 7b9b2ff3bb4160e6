// Packed little-endian documents: a bounded reader and the writers.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace vandrel {

using Bytes = std::vector<std::uint8_t>;
using Digest = std::array<std::uint8_t, 32>;

// Walks a document from front to back. No read passes the end: each is preceded by `has`, which the caller asks, so
// that it can choose its own words for a document that ends too early.
class ByteReader {
 public:
    explicit ByteReader(std::span<const std::uint8_t> document) : document_(document) {}

    std::size_t position() const { return position_; }
    std::size_t remaining() const { return document_.size() - position_; }
    bool has(std::uint64_t count) const { return count <= remaining(); }

    // Precondition of all that follow: `has` of their width.
    std::uint8_t read_u8() { return document_[position_++]; }
    std::uint16_t read_u16() { return static_cast<std::uint16_t>(read_little_endian(2)); }
    std::uint32_t read_u32() { return static_cast<std::uint32_t>(read_little_endian(4)); }
    std::uint64_t read_u64() { return read_little_endian(8); }
    std::span<const std::uint8_t> read_bytes(std::size_t count);
    std::string_view read_text(std::size_t count);
    Digest read_digest();

 private:
    std::uint64_t read_little_endian(std::size_t width);

    std::span<const std::uint8_t> document_;
    std::size_t position_ = 0;
};

void append_u8(Bytes& bytes, std::uint8_t value);
void append_u32(Bytes& bytes, std::uint32_t value);
void append_u64(Bytes& bytes, std::uint64_t value);
void append_bytes(Bytes& bytes, std::span<const std::uint8_t> data);
void append_text(Bytes& bytes, std::string_view text);

}  // namespace vandrel
