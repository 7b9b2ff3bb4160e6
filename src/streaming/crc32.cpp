#include "streaming/crc32.h"

#include <array>

namespace qm_streaming {

namespace {

using Table = std::array<std::uint32_t, 256>;

// kTables[0] is the usual table: what one byte adds. kTables[k] is what a byte adds that k further bytes follow, so
// that eight bytes are eight look-ups that don't wait for each other.
constexpr std::array<Table, 8> make_tables() {
    std::array<Table, 8> tables{};
    for (std::uint32_t index = 0; index < 256; ++index) {
        std::uint32_t value = index;
        for (int bit = 0; bit < 8; ++bit) value = (value >> 1) ^ ((value & 1) != 0 ? 0xEDB88320U : 0U);
        tables[0][index] = value;
    }
    for (std::size_t k = 1; k < tables.size(); ++k) {
        for (std::uint32_t index = 0; index < 256; ++index) {
            const std::uint32_t before = tables[k - 1][index];
            tables[k][index] = (before >> 8) ^ tables[0][before & 0xFF];
        }
    }
    return tables;
}

constexpr std::array<Table, 8> kTables = make_tables();

std::uint32_t eight_bytes(std::uint32_t running, const std::uint8_t* data) {
    return kTables[7][(running ^ data[0]) & 0xFF] ^ kTables[6][((running >> 8) ^ data[1]) & 0xFF] ^
           kTables[5][((running >> 16) ^ data[2]) & 0xFF] ^ kTables[4][(running >> 24) ^ data[3]] ^
           kTables[3][data[4]] ^ kTables[2][data[5]] ^ kTables[1][data[6]] ^ kTables[0][data[7]];
}

}  // namespace

std::uint32_t update_crc32(std::uint32_t running, const std::uint8_t* data, std::size_t size) {
    for (; size >= 8; data += 8, size -= 8) running = eight_bytes(running, data);
    for (; size > 0; ++data, --size) running = (running >> 8) ^ kTables[0][(running ^ *data) & 0xFF];
    return running;
}

std::string crc32_text(std::uint32_t crc) {
    std::string text;
    for (int shift = 28; shift >= 0; shift -= 4) text += "0123456789abcdef"[(crc >> shift) & 15];
    return text;
}

}  // namespace qm_streaming
