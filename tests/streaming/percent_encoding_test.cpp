#include "streaming/percent_encoding.h"

#include <gtest/gtest.h>

#include "tests/support/direct.h"

namespace support {
namespace {

TEST(PercentEncoding, leaves_what_a_query_value_may_hold_and_encodes_the_bytes_of_the_rest) {
    const std::pair<std::wstring, std::wstring> rows[] = {
        {L"azAZ09-._~", L"azAZ09-._~"},
        {L"`{@[/:,^\x7F", L"%60%7B%40%5B%2F%3A%2C%5E%7F"},
        {L"\xE9\xD83C\xDFAE", L"%C3%A9%F0%9F%8E%AE"},
        {std::wstring(L"\x01\x12\x23\x34\x5C\0", 6), L"%01%12%234%5C%00"},
        {L"\xFB\xED\xD0\x88", L"%C3%BB%C3%AD%C3%90%C2%88"},
        {L"", L""},
        {L"a\xD800", L""}};
    const DirectMachine machine;
    for (const auto& [text, encoded] : rows) EXPECT_EQ(vandrel::percent_encode(text), encoded);
}

}  // namespace
}  // namespace support
