#include "streaming/crc32.h"

#include <gtest/gtest.h>

#include <string_view>

namespace support {
namespace {

std::string crc32_of(std::string_view text) {
    const auto* data = reinterpret_cast<const std::uint8_t*>(text.data());
    return qm_streaming::crc32_text(~qm_streaming::update_crc32(qm_streaming::kCrc32Start, data, text.size()));
}

std::uint32_t bit_by_bit(std::uint32_t running, const std::uint8_t* data, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) {
        running ^= data[i];
        for (int bit = 0; bit < 8; ++bit) running = (running >> 1) ^ ((running & 1) != 0 ? 0xEDB88320U : 0U);
    }
    return running;
}

TEST(Crc32, is_that_of_ieee_802_3) {
    EXPECT_EQ(crc32_of(""), "00000000");
    EXPECT_EQ(crc32_of("a"), "e8b7be43");
    EXPECT_EQ(crc32_of("123456789"), "cbf43926");
    EXPECT_EQ(crc32_of("The quick brown fox jumps over the lazy dog"), "414fa339");
}

TEST(Crc32, is_the_same_at_every_alignment_and_length_from_every_running_value) {
    std::uint8_t data[48];
    for (std::size_t i = 0; i < sizeof data; ++i) data[i] = static_cast<std::uint8_t>(i * 167 + 13);
    for (std::size_t begin = 0; begin < 8; ++begin) {
        for (std::size_t size = 0; size <= 40; ++size) {
            for (const std::uint32_t running : {0U, 0xFFFFFFFFU, 0x12345678U}) {
                EXPECT_EQ(qm_streaming::update_crc32(running, data + begin, size),
                          bit_by_bit(running, data + begin, size))
                    << begin << " " << size;
            }
        }
    }
}

}  // namespace
}  // namespace support
