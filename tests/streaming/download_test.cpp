#include "tests/streaming/download_test.h"

#include <stdexcept>

namespace support {
namespace {

using Ticks = std::vector<std::uint64_t>;

TEST_F(DownloadTest, puts_a_verified_file_in_its_place_and_reports_all_about_it) {
    const std::string content = std::string(65536, 'a') + std::string(10, 'b');
    expect_content(content);
    streams = {{.chunks = {content.substr(0, 65536), content.substr(65536)}}};
    Ticks progress;
    on_progress = [&](std::uint64_t received) { progress.push_back(received); };
    machine.world.disk.put(std::wstring(kTarget) + L".qmpart-1-00.part", "stale", 1);
    EXPECT_TRUE(download());
    EXPECT_EQ(error, L"");
    EXPECT_EQ(progress, (Ticks{65536, 65546}));
    EXPECT_EQ(outcome.bytes_received, 65546U);
    EXPECT_EQ(outcome.bytes_written, 65546U);
    EXPECT_EQ(outcome.buffer_size, 65536U);
    EXPECT_EQ(outcome.largest_read, 65536U);
    EXPECT_EQ(outcome.attempts_made, 1U);
    EXPECT_EQ(outcome.retries, 0U);
    EXPECT_EQ(outcome.stale_parts_removed, 1U);
    EXPECT_TRUE(outcome.completed && outcome.size_matched && outcome.sha256_matched);
    EXPECT_FALSE(outcome.cancelled || outcome.crc32_matched);
    EXPECT_EQ(outcome.sha256, digest);
    machine.world.disk.lose_power(machine.world.disk.all_lost());
    EXPECT_EQ(staged(), (Files{{"files/new.bin", content}}));
    EXPECT_NE(machine.world.disk.attributes(kTarget) & 0x100U, 0U);
}

TEST_F(DownloadTest, compares_a_crc_where_one_is_given_and_reports_it_in_any_case) {
    EXPECT_TRUE(download());
    EXPECT_EQ(outcome.crc32, 0xCBF43926U);
    EXPECT_FALSE(outcome.crc32_matched);
    const std::string crc = "cbf43926";
    expected = {false, 1000, nullptr, &crc};
    opened_at.clear();
    EXPECT_TRUE(download());
    EXPECT_TRUE(outcome.crc32_matched);
    EXPECT_FALSE(outcome.size_matched || outcome.sha256_matched);
}

TEST_F(DownloadTest, puts_an_empty_file_in_its_place_without_any_progress) {
    expect_content("");
    streams = {{}};
    on_progress = [](std::uint64_t) { FAIL(); };
    EXPECT_TRUE(download());
    EXPECT_EQ(staged(), (Files{{"files/new.bin", ""}}));
    EXPECT_EQ(outcome.crc32, 0U);
}

TEST_F(DownloadTest, retries_what_another_attempt_may_cure_and_nothing_else) {
    const std::string wrong_crc = "CBF43926";
    const struct {
        Stream stream;
        std::wstring error;
        bool retried;
        const std::string* crc = nullptr;
    } rows[] = {{{.opened = IoStatus::Retry, .open_text = L"aberto mal"}, L"aberto mal", true},
                {{.opened = IoStatus::Fatal, .open_text = L"fatal"}, L"fatal", false},
                {{.opened = IoStatus::EndOfStream}, L"", false},
                {{.chunks = {"123"}, .end = IoStatus::Retry, .end_text = L"interrompido"}, L"interrompido", true},
                {{.chunks = {"123"}, .end = IoStatus::Retry}, L"Leitura HTTP invalida.", true},
                {{.end = IoStatus::Fatal, .end_text = L"fatal"}, L"fatal", false},
                {{.end = IoStatus::Fatal}, L"Leitura HTTP invalida.", false},
                {{.end = IoStatus::Ok}, L"Leitura HTTP invalida.", false},
                {{.open_text = L"de antes", .end = IoStatus::Ok}, L"de antes", false},
                {{.end = IoStatus::Data, .end_count = 0}, L"Leitura HTTP invalida.", false},
                {{.end = IoStatus::Data, .end_count = 65537}, L"Leitura HTTP invalida.", false},
                {{.chunks = {"12345678"}}, L"Tamanho recebido difere do manifesto.", true},
                {{.chunks = {"12345678", "0"}}, L"SHA-256 incremental difere do manifesto.", true},
                {{.chunks = {kContent}}, L"CRC32 incremental difere do manifesto.", true, &wrong_crc},
                {{.chunks = {"12345678", "90"}}, L"Download excedeu o limite permitido.", false},
                {{.chunks = {"1234567890"}}, L"Download excedeu o limite permitido.", false}};
    for (const auto& row : rows) {
        streams = {row.stream};
        expected.crc32 = row.crc;
        opened_at.clear();
        machine.world.disk.put(kTarget, "old");
        EXPECT_FALSE(download());
        EXPECT_EQ(error, row.error);
        EXPECT_EQ(outcome.attempts_made, row.retried ? 3U : 1U) << narrow(row.error);
        EXPECT_EQ(outcome.retries, row.retried ? 2U : 0U) << narrow(row.error);
        EXPECT_FALSE(outcome.completed || outcome.cancelled || outcome.size_matched) << narrow(row.error);
        EXPECT_EQ(staged(), (Files{{"files/new.bin", "old"}})) << narrow(row.error);
    }
}

TEST_F(DownloadTest, starts_over_under_another_name_and_succeeds_with_a_good_attempt) {
    streams = {{.chunks = {"1234"}}, {.chunks = {"1234", "xxxxx"}}, {.chunks = {kContent}}};
    EXPECT_TRUE(download());
    EXPECT_EQ(outcome.bytes_received, 22U);
    EXPECT_EQ(outcome.bytes_written, 22U);
    EXPECT_EQ(outcome.largest_read, 9U);
    EXPECT_EQ(staged(), (Files{{"files/new.bin", kContent}}));
    const auto created = machine.calls("CreateFileW");
    ASSERT_EQ(created.size(), 3U);
    EXPECT_NE(created[0], created[1]);
    EXPECT_NE(created[1], created[2]);
}

TEST_F(DownloadTest, doubles_its_pause_after_each_attempt_up_to_sixteen_fold) {
    streams = {{.opened = IoStatus::Retry, .open_text = L"x"}};
    options.attempts = 8;
    EXPECT_FALSE(download());
    Ticks pauses;
    for (std::size_t i = 1; i < opened_at.size(); ++i) pauses.push_back(opened_at[i] - opened_at[i - 1]);
    EXPECT_EQ(pauses, (Ticks{250, 500, 1000, 2000, 4000, 4000, 4000}));
    EXPECT_EQ(machine.world.clock.tick_ms(), opened_at.back());
}

TEST_F(DownloadTest, asks_for_a_cancellation_before_each_slice_of_a_pause_and_once_behind_it) {
    for (const auto& [pause_ms, asked] : {std::pair(0U, 1), {1U, 2}, {50U, 2}, {51U, 3}, {250U, 6}}) {
        int questions = 0;
        const std::uint64_t start = machine.world.clock.tick_ms();
        EXPECT_TRUE(qm_streaming::sleep_with_cancel(pause_ms, [&] { return ++questions < 0; }));
        EXPECT_EQ(questions, asked) << pause_ms;
        EXPECT_EQ(machine.world.clock.tick_ms() - start, pause_ms);
        EXPECT_FALSE(qm_streaming::sleep_with_cancel(pause_ms, [&, left = asked]() mutable { return --left == 0; }));
    }
}

TEST_F(DownloadTest, is_cancelled_at_any_question_and_leaves_nothing_behind) {
    streams = {{.chunks = {"1234"}}, {.chunks = {"1234", "56789"}}};
    int questions = 0;
    is_cancelled = [&] { return ++questions < 0; };
    EXPECT_TRUE(download());
    EXPECT_EQ(questions, 1 + 2 + 6 + 1 + 3);  // before the attempt, before its reads, in the pause, and again
    for (int cancel_at = 1; cancel_at <= 13; ++cancel_at) {
        machine.world.disk.erase(kTarget);
        opened_at.clear();
        questions = 0;
        is_cancelled = [&] { return ++questions >= cancel_at; };
        EXPECT_FALSE(download());
        EXPECT_EQ(error, L"Download cancelado.") << cancel_at;
        EXPECT_TRUE(outcome.cancelled) << cancel_at;
        EXPECT_EQ(opened_at.size(), cancel_at == 1 ? 0U : cancel_at <= 10 ? 1U : 2U) << cancel_at;
        EXPECT_EQ(outcome.retries, cancel_at <= 3 ? 0U : 1U) << cancel_at;
        EXPECT_EQ(staged(), Files()) << cancel_at;
    }
}

TEST_F(DownloadTest, counts_as_out_of_time_when_a_cancellation_is_taken_back_before_an_attempt) {
    is_cancelled = [asked = 0]() mutable { return ++asked == 1; };
    EXPECT_FALSE(download());
    EXPECT_EQ(error, L"Tempo total do download excedido.");
    EXPECT_FALSE(outcome.cancelled);
}

TEST_F(DownloadTest, may_take_15_minutes_and_not_a_millisecond_more) {
    constexpr std::uint64_t kLimitMs = 15ULL * 60 * 1000;
    EXPECT_EQ(options.total_time_limit_ms, kLimitMs);
    for (const std::uint64_t beyond : {0U, 1U}) {
        // Before a read: the first one takes all the time there is.
        streams = {{.chunks = {kContent}}};
        opened_at.clear();
        before_read = [&] {
            if (machine.world.clock.tick_ms() == opened_at[0]) machine.world.clock.advance(kLimitMs + beyond);
        };
        EXPECT_EQ(download(), beyond == 0);
        EXPECT_EQ(error, beyond == 0 ? L"" : L"Tempo total do download excedido.");
        EXPECT_EQ(outcome.attempts_made, 1U);
        // Before an attempt: the first one and the pause of 250 ms do.
        streams = {{.end = IoStatus::Retry, .end_text = L"x"}, {.chunks = {kContent}}};
        opened_at.clear();
        before_read = [&] {
            if (opened_at.size() == 1) machine.world.clock.advance(kLimitMs + beyond - 250);
        };
        EXPECT_EQ(download(), beyond == 0);
        EXPECT_EQ(opened_at.size(), beyond == 0 ? 2U : 1U);
        EXPECT_EQ(outcome.attempts_made, 2U);
        EXPECT_EQ(error, beyond == 0 ? L"x" : L"Tempo total do download excedido.");
        EXPECT_FALSE(outcome.cancelled);
        error.clear();
    }
}

TEST_F(DownloadTest, clears_its_part_away_when_a_callback_throws) {
    on_progress = [](std::uint64_t) { throw std::runtime_error("progress"); };
    EXPECT_THROW(download(), std::runtime_error);
    EXPECT_EQ(staged(), Files());
    on_progress = nullptr;
    opened_at.clear();
    before_read = [] { throw std::runtime_error("read"); };
    EXPECT_THROW(download(), std::runtime_error);
    EXPECT_EQ(staged(), Files());
}

}  // namespace
}  // namespace support
