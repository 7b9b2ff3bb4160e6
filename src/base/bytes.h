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

// A walk through a document, from front to back. No read passes the end: each is preceded by `has`, which the caller
// asks, so that it can choose its own words for a document that ends too early.
struct ByteReader {
    std::span<const std::uint8_t> document;
    std::size_t position = 0;
};

std::size_t remaining(const ByteReader& reader);
bool has(const ByteReader& reader, std::uint64_t count);

// Precondition of all that follow: `has` of their width.
std::uint8_t read_u8(ByteReader& reader);
std::uint16_t read_u16(ByteReader& reader);
std::uint32_t read_u32(ByteReader& reader);
std::uint64_t read_u64(ByteReader& reader);
std::span<const std::uint8_t> read_bytes(ByteReader& reader, std::size_t count);
std::string_view read_text(ByteReader& reader, std::size_t count);
Digest read_digest(ByteReader& reader);

void append_u8(Bytes& bytes, std::uint8_t value);
void append_u32(Bytes& bytes, std::uint32_t value);
void append_u64(Bytes& bytes, std::uint64_t value);
void append_bytes(Bytes& bytes, std::span<const std::uint8_t> data);
void append_text(Bytes& bytes, std::string_view text);

}  // namespace vandrel
