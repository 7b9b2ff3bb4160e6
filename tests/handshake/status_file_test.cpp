#include "handshake/status_file.h"

#include <gtest/gtest.h>

#include <array>

#include "handshake/progress_reporter.h"
#include "tests/support/direct.h"

namespace support {
namespace {

class StatusFile : public testing::Test {
 protected:
    StatusFile() : options(machine.options()) {
        machine.world.disk.make_folder(machine.world.roaming + L"\\BrindlerQ3\\main\\updater");
    }

    // The document's text; the failure's if it wasn't written.
    std::string written(const std::wstring& detail, std::int32_t progress = 0) {
        const std::wstring text =
            machine.refusal([&] { vandrel::write_status(options, L"checking", progress, detail); });
        return text.empty() ? machine.status_text() : narrow(text);
    }
    static std::string document(const std::string& job, const std::string& detail) {
        return "{\"jobId\":\"" + job + "\",\"state\":\"checking\",\"progress\":0,\"detail\":\"" + detail +
               "\",\"release\":0,\"pendingFiles\":0}\n";
    }

    DirectMachine machine;
    vandrel::LaunchOptions options;
};

TEST_F(StatusFile, is_one_line_of_json_in_a_fixed_order_with_a_progress_from_0_to_100) {
    options.job_id = L"a1";
    options.release = 4294967295;
    options.file_count = 18446744073709551615ULL;
    const std::pair<std::int32_t, std::string> rows[] = {
        {INT32_MIN, "0"}, {-1, "0"}, {0, "0"}, {1, "1"}, {99, "99"}, {100, "100"}, {101, "100"}, {INT32_MAX, "100"}};
    for (const auto& [progress, shown] : rows) {
        EXPECT_EQ(written(L"Baixando...", progress),
                  "{\"jobId\":\"a1\",\"state\":\"checking\",\"progress\":" + shown +
                      ",\"detail\":\"Baixando...\",\"release\":4294967295,\"pendingFiles\":18446744073709551615}\n");
    }
}

TEST_F(StatusFile, escapes_quotes_backslashes_and_control_bytes_and_nothing_else) {
    const std::pair<std::wstring, std::string> rows[] = {
        {L"\"\\/ !~\x7F", R"("\"\\/ !~)"
                          "\x7F\""},
        {L"\xE7\x20AC\xD83C\xDFAE", "\"\xC3\xA7\xE2\x82\xAC\xF0\x9F\x8E\xAE\""},
        {L"good\xD800", "\"\""},
        {L"", "\"\""}};
    for (const auto& [text, quoted] : rows) EXPECT_EQ(vandrel::json_quote(text), quoted);
    std::wstring controls;
    for (wchar_t unit = 0; unit < 0x20; ++unit) controls += unit;
    EXPECT_EQ(vandrel::json_quote(controls),
              R"("\u0000\u0001\u0002\u0003\u0004\u0005\u0006\u0007\u0008\u0009\u000a\u000b\u000c\u000d\u000e\u000f)"
              R"(\u0010\u0011\u0012\u0013\u0014\u0015\u0016\u0017\u0018\u0019\u001a\u001b\u001c\u001d\u001e\u001f")");
}

TEST_F(StatusFile, cuts_the_detail_to_1500_units_even_within_a_pair) {
    const std::string job = narrow(options.job_id);
    std::string euros;
    for (int i = 0; i < 1500; ++i) euros += "\xE2\x82\xAC";
    EXPECT_EQ(written(std::wstring(1501, L'\x20AC')), document(job, euros));
    EXPECT_EQ(written(std::wstring(1498, L'a') + L"\xD83C\xDFAE"),
              document(job, std::string(1498, 'a') + "\xF0\x9F\x8E\xAE"));
    EXPECT_EQ(written(std::wstring(1499, L'a') + L"\xD83C\xDFAE"), document(job, ""));
}

TEST_F(StatusFile, is_refused_at_16384_bytes_or_when_it_cannot_be_written_and_the_earlier_one_stays) {
    const std::size_t frame = document("", "").size();
    options.job_id = std::wstring(16383 - frame, L'a');
    const std::string largest = document(std::string(16383 - frame, 'a'), "");
    ASSERT_EQ(largest.size(), 16383U);
    EXPECT_EQ(written(L""), largest);
    EXPECT_EQ(written(L"x"), "Status muito grande.");
    Faults faults(machine.world);
    faults.add("WriteFile", L"", 112);
    EXPECT_EQ(written(L""), "Falha ao gravar arquivo temporario.");
    EXPECT_EQ(machine.status_text(), largest);
}

class ProgressReporter : public StatusFile {
 protected:
    // The progress shown after a report, or -1 if none was written.
    int shown(std::uint64_t total, std::uint64_t done, std::uint64_t file, std::uint64_t received) {
        machine.world.disk.erase(machine.status_path());
        const vandrel::DownloadProgressReporter report(last_tick, total, done, file, options);
        report(received);
        if (!machine.has_status()) return -1;
        EXPECT_EQ(machine.status().state, "downloading");
        EXPECT_EQ(machine.status().detail, "Baixando arquivos verificados...");
        return machine.status().progress;
    }

    std::uint64_t last_tick = 0;
};

TEST_F(ProgressReporter, shows_the_share_of_all_bytes_rounded_down) {
    const std::array<std::uint64_t, 5> rows[] = {
        {0, 0, 0, 0, 100},       {200, 0, 100, 0, 0},       {200, 0, 100, 1, 0},
        {200, 0, 100, 99, 49},   {200, 0, 100, 100, 50},    {200, 0, 100, 500, 50},
        {200, 100, 100, 99, 99}, {200, 100, 100, 100, 100}, {17179869184, 12884901888, 4294967296, 4294967295, 99}};
    for (const auto& [total, done, file, received, progress] : rows) {
        last_tick = 0;
        EXPECT_EQ(shown(total, done, file, received), static_cast<int>(progress)) << done << "+" << received;
    }
}

TEST_F(ProgressReporter, writes_first_at_once_and_then_every_100_ms_at_most) {
    EXPECT_EQ(shown(100, 0, 100, 80), 80);
    machine.world.clock.advance(99);
    EXPECT_EQ(shown(100, 0, 100, 90), -1);
    machine.world.clock.advance(1);
    EXPECT_EQ(shown(100, 0, 100, 10), 10);  // a retried file starts over
    EXPECT_EQ(shown(100, 0, 100, 11), -1);
    EXPECT_EQ(last_tick, machine.world.clock.tick_ms());
}

}  // namespace
}  // namespace support
