#include "safefs/text_encoding.h"

#include <gtest/gtest.h>

#include "tests/support/direct.h"

namespace support {
namespace {

using namespace std::string_literals;

TEST(TextEncoding, carries_every_valid_text_both_ways_without_a_loss) {
    DirectMachine machine;
    const struct {
        std::string bytes;
        std::wstring text;
    } rows[] = {{"plain", L"plain"},
                {"a\0b"s, L"a\0b"s},
                {"\0"s, L"\0"s},
                {"\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80", L"\x7F\x80\x7FF\x800"s},
                {"\xEF\xBB\xBF", L"\xFEFF"s},
                {"\xEF\xBF\xBF", L"\xFFFF"s},
                {"\xF0\x90\x80\x80", L"\xD800\xDC00"s},
                {"\xF4\x8F\xBF\xBF", L"\xDBFF\xDFFF"s}};
    for (const auto& row : rows) {
        EXPECT_EQ(vandrel::utf8_to_wide(row.bytes), row.text) << testing::PrintToString(row.bytes);
        EXPECT_EQ(vandrel::wide_to_utf8(row.text), row.bytes) << testing::PrintToString(row.bytes);
    }
}

TEST(TextEncoding, refuses_a_text_with_one_invalid_sequence_whole) {
    DirectMachine machine;
    for (const std::string& bytes :
         {"\xC0\x80"s, "\xFF"s, "\x80"s, "\xC2"s, "\xE0\x80\xAF"s, "\xED\xA0\x80"s, "\xED\xBF\xBF"s, "\xE2\x82"s,
          "\xF0\x8F\xBF\xBF"s, "\xF4\x90\x80\x80"s, "\xF0\x90\x80"s}) {
        EXPECT_EQ(vandrel::utf8_to_wide("good" + bytes), L"") << testing::PrintToString(bytes);
        EXPECT_EQ(vandrel::utf8_to_wide(bytes + "good"), L"") << testing::PrintToString(bytes);
    }
    for (const std::wstring& text : {L"\xD800"s, L"\xDC00"s, L"\xDC00\xD800"s, L"\xD800\xD800\xDC00"s}) {
        EXPECT_EQ(vandrel::wide_to_utf8(L"good" + text), "");
        EXPECT_EQ(vandrel::wide_to_utf8(text + L"good"), "");
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

TEST(CaseFolding, maps_ascii_capitals_alone) {
    EXPECT_EQ(vandrel::fold_case(L"@AZ[`az{\xC7\xE7\x130"), L"@az[`az{\xC7\xE7\x130");
}

TEST(JobIdentifier, has_32_hexadecimal_digits) {
    const std::wstring job = L"0123456789abcdefABCDEF0123456789";
    EXPECT_TRUE(vandrel::is_job_identifier(job));
    EXPECT_FALSE(vandrel::is_job_identifier(job + L"0"));
    for (std::size_t at = 0; at < job.size(); ++at) EXPECT_FALSE(vandrel::is_job_identifier(job.substr(0, at)));
    for (const wchar_t unit : std::wstring(L"/:@G[`g{ \xFF11")) {
        EXPECT_FALSE(vandrel::is_job_identifier(job.substr(1) + unit)) << narrow({unit});
        EXPECT_FALSE(vandrel::is_job_identifier(unit + job.substr(1))) << narrow({unit});
    }
}

}  // namespace
}  // namespace support
