#include "streaming/crc32.h"

#include <array>

namespace qm_streaming {

namespace {

using Table = std::array<std::uint32_t, 256>;

constexpr std::size_t kBlockBytes = 16;

// kTables[0] is the usual table: what one byte adds. kTables[k] is what a byte adds that k further bytes follow, so
// that a block is so many look-ups that don't wait for each other.
constexpr std::array<Table, kBlockBytes> make_tables() {
    std::array<Table, kBlockBytes> tables{};
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

constexpr std::array<Table, kBlockBytes> kTables = make_tables();

std::uint32_t block(std::uint32_t running, const std::uint8_t* data) {
    return kTables[15][(running ^ data[0]) & 0xFF] ^ kTables[14][((running >> 8) ^ data[1]) & 0xFF] ^
           kTables[13][((running >> 16) ^ data[2]) & 0xFF] ^ kTables[12][(running >> 24) ^ data[3]] ^
           kTables[11][data[4]] ^ kTables[10][data[5]] ^ kTables[9][data[6]] ^ kTables[8][data[7]] ^
           kTables[7][data[8]] ^ kTables[6][data[9]] ^ kTables[5][data[10]] ^ kTables[4][data[11]] ^
           kTables[3][data[12]] ^ kTables[2][data[13]] ^ kTables[1][data[14]] ^ kTables[0][data[15]];
}

}  // namespace

std::uint32_t update_crc32(std::uint32_t running, const std::uint8_t* data, std::size_t size) {
    for (; size >= kBlockBytes; data += kBlockBytes, size -= kBlockBytes) running = block(running, data);
    for (; size > 0; ++data, --size) running = (running >> 8) ^ kTables[0][(running ^ *data) & 0xFF];
    return running;
}

std::string crc32_text(std::uint32_t crc) {
    std::string text;
    for (int shift = 28; shift >= 0; shift -= 4) text += "0123456789abcdef"[(crc >> shift) & 15];
    return text;
}

}  // namespace qm_streaming
