#include "safefs/text_encoding.h"

#include <gtest/gtest.h>

#include "tests/support/direct.h"

namespace support {
namespace {

TEST(TextEncoding, carries_valid_texts_both_ways_and_refuses_one_with_an_invalid_sequence_whole) {
    const DirectMachine machine;
    const std::pair<std::string, std::wstring> rows[] = {
        {std::string("a\0b", 3), std::wstring(L"a\0b", 3)},
        {"a", L"a"},
        {"\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF", L"\x80\x7FF\x800\xFFFF"},
        {"\xEF\xBB\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF", L"\xFEFF\xD800\xDC00\xDBFF\xDFFF"}};
    for (const auto& [bytes, text] : rows) {
        EXPECT_EQ(vandrel::utf8_to_wide(bytes), text) << testing::PrintToString(bytes);
        EXPECT_EQ(vandrel::wide_to_utf8(text), bytes) << testing::PrintToString(bytes);
        EXPECT_EQ(vandrel::utf8_to_wide(bytes + "\xED\xA0\x80"), L"");
        EXPECT_EQ(vandrel::wide_to_utf8(text + L"\xD800"), "");
    }
}

TEST(TextEncoding, asks_the_platform_nothing_for_an_empty_text_and_gives_nothing_when_it_fails) {
    DirectMachine machine;
    EXPECT_EQ(vandrel::utf8_to_wide(""), L"");
    EXPECT_EQ(vandrel::wide_to_utf8(L""), "");
    EXPECT_EQ(machine.world.gate.calls(), 0U);
    for (const int which : {0, 1}) {
        Faults faults(machine.world);
        faults.add("MultiByteToWideChar", L"", kDistinct, 1, which);
        faults.add("WideCharToMultiByte", L"", kDistinct, 1, which);
        EXPECT_EQ(vandrel::utf8_to_wide("text"), L"");
        EXPECT_EQ(vandrel::wide_to_utf8(L"text"), "");
    }
}

TEST(TextEncoding, folds_ascii_capitals_alone_and_knows_a_job_by_its_32_hexadecimal_digits) {
    EXPECT_EQ(vandrel::fold_case(L"@AZ[`az{\xC7\xE7\x130"), L"@az[`az{\xC7\xE7\x130");
    const std::wstring job = L"0123456789abcdefABCDEF0123456789";
    EXPECT_TRUE(vandrel::is_job_identifier(job));
    EXPECT_FALSE(vandrel::is_job_identifier(job + L"0") || vandrel::is_job_identifier(job.substr(1)));
    for (const wchar_t unit : std::wstring(L"/:@G[`g{ \xFF11")) {
        EXPECT_FALSE(vandrel::is_job_identifier(job.substr(1) + unit)) << narrow({unit});
    }
}

}  // namespace
}  // namespace support
