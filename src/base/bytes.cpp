#include "base/bytes.h"

#include <algorithm>

namespace vandrel {

namespace {

std::uint64_t read_little_endian(ByteReader& reader, std::size_t width) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < width; ++i) value |= std::uint64_t{reader.document[reader.position + i]} << (8 * i);
    reader.position += width;
    return value;
}

void append_little_endian(Bytes& bytes, std::uint64_t value, std::size_t width) {
    for (std::size_t i = 0; i < width; ++i) bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
}

}  // namespace

std::size_t remaining(const ByteReader& reader) {
    return reader.document.size() - reader.position;
}
bool has(const ByteReader& reader, std::uint64_t count) {
    return count <= remaining(reader);
}

std::uint8_t read_u8(ByteReader& reader) {
    return static_cast<std::uint8_t>(read_little_endian(reader, 1));
}
std::uint16_t read_u16(ByteReader& reader) {
    return static_cast<std::uint16_t>(read_little_endian(reader, 2));
}
std::uint32_t read_u32(ByteReader& reader) {
    return static_cast<std::uint32_t>(read_little_endian(reader, 4));
}
std::uint64_t read_u64(ByteReader& reader) {
    return read_little_endian(reader, 8);
}

std::span<const std::uint8_t> read_bytes(ByteReader& reader, std::size_t count) {
    const auto bytes = reader.document.subspan(reader.position, count);
    reader.position += count;
    return bytes;
}

std::string_view read_text(ByteReader& reader, std::size_t count) {
    const auto bytes = read_bytes(reader, count);
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

Digest read_digest(ByteReader& reader) {
    Digest digest;
    std::ranges::copy(read_bytes(reader, digest.size()), digest.begin());
    return digest;
}

void append_u8(Bytes& bytes, std::uint8_t value) {
    bytes.push_back(value);
}
void append_u32(Bytes& bytes, std::uint32_t value) {
    append_little_endian(bytes, value, 4);
}
void append_u64(Bytes& bytes, std::uint64_t value) {
    append_little_endian(bytes, value, 8);
}
void append_bytes(Bytes& bytes, std::span<const std::uint8_t> data) {
    bytes.insert(bytes.end(), data.begin(), data.end());
}
void append_text(Bytes& bytes, std::string_view text) {
    bytes.insert(bytes.end(), text.begin(), text.end());
}

}  // namespace vandrel
