#include "streaming/crc32.h"

#include <array>

namespace qm_streaming {

namespace {

constexpr std::array<std::uint32_t, 256> make_table() {
    std::array<std::uint32_t, 256> table{};
    for (std::uint32_t index = 0; index < table.size(); ++index) {
        std::uint32_t value = index;
        for (int bit = 0; bit < 8; ++bit) value = (value >> 1) ^ ((value & 1) != 0 ? 0xEDB88320U : 0U);
        table[index] = value;
    }
    return table;
}

constexpr std::array<std::uint32_t, 256> kTable = make_table();

}  // namespace

std::uint32_t update_crc32(std::uint32_t running, const std::uint8_t* data, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) running = (running >> 8) ^ kTable[(running ^ data[i]) & 0xFF];
    return running;
}

std::string crc32_text(std::uint32_t crc) {
    std::string text;
    for (int shift = 28; shift >= 0; shift -= 4) text += "0123456789abcdef"[(crc >> shift) & 15];
    return text;
}

}  // namespace qm_streaming
