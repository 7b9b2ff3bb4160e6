#include "streaming/percent_encoding.h"

#include <gtest/gtest.h>

#include "tests/support/direct.h"

namespace support {
namespace {

TEST(PercentEncoding, leaves_what_a_query_value_may_hold_and_encodes_the_bytes_of_the_rest) {
    const struct {
        std::wstring text;
        std::wstring encoded;
    } rows[] = {{L"azAZ09-._~", L"azAZ09-._~"},
                {L"data/a b.png", L"data%2Fa%20b.png"},
                {L"\xE9", L"%C3%A9"},
                {L"\xD83C\xDFAE", L"%F0%9F%8E%AE"},
                {L"%+&=?#\x01\x7F", L"%25%2B%26%3D%3F%23%01%7F"},
                {std::wstring(1, L'\0'), L"%00"},
                {L"", L""},
                {L"a\xD800", L""}};
    const DirectMachine machine;
    for (const auto& row : rows) EXPECT_EQ(vandrel::percent_encode(row.text), row.encoded);
}

}  // namespace
}  // namespace support
