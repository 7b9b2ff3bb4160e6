// CRC-32 of IEEE 802.3 (reflected, polynomial 0xEDB88320).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace qm_streaming {

inline constexpr std::uint32_t kCrc32Start = 0xFFFFFFFF;

// The running value after `size` more bytes; begin with kCrc32Start, and invert the last value for the CRC.
std::uint32_t update_crc32(std::uint32_t running, const std::uint8_t* data, std::size_t size);

// Eight lower-case hexadecimal digits.
std::string crc32_text(std::uint32_t crc);

}  // namespace qm_streaming
