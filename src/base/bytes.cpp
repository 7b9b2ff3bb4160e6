#include "base/bytes.h"

#include <algorithm>

namespace vandrel {

std::uint64_t ByteReader::read_little_endian(std::size_t width) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < width; ++i) value |= std::uint64_t{document_[position_ + i]} << (8 * i);
    position_ += width;
    return value;
}

std::span<const std::uint8_t> ByteReader::read_bytes(std::size_t count) {
    const auto bytes = document_.subspan(position_, count);
    position_ += count;
    return bytes;
}

std::string_view ByteReader::read_text(std::size_t count) {
    const auto bytes = read_bytes(count);
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

Digest ByteReader::read_digest() {
    Digest digest;
    std::ranges::copy(read_bytes(digest.size()), digest.begin());
    return digest;
}

namespace {

void append_little_endian(Bytes& bytes, std::uint64_t value, std::size_t width) {
    for (std::size_t i = 0; i < width; ++i) bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
}

}  // namespace

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
