#include "manifest/manifest.h"

#include <algorithm>

namespace vandrel {

SignedBytes SignedBytes::with_room() {
    SignedBytes bytes;
    bytes.buffer_.reserve(kLargestBuffer);
    return bytes;
}

void SignedBytes::append(std::span<const std::uint8_t> piece) {
    append_bytes(buffer_, piece);
    size_ += piece.size();
}

Bytes& SignedBytes::surround(std::span<const std::uint8_t> head) {
    buffer_.resize(kRoomInFront + size_);
    std::ranges::copy(head, buffer_.begin() + static_cast<std::ptrdiff_t>(kRoomInFront - head.size()));
    return buffer_;
}

std::span<const std::uint8_t> SignedBytes::surrounded(std::size_t head_size) const {
    return std::span(buffer_).subspan(kRoomInFront - head_size);
}

}  // namespace vandrel
