#include "tests/streaming/download_test.h"

#include <set>
#include <stdexcept>

namespace support {
namespace {

using Ticks = std::vector<std::uint64_t>;

constexpr const wchar_t* kCancelled = L"Download cancelado.";
constexpr const wchar_t* kOutOfTime = L"Tempo total do download excedido.";

TEST_F(DownloadTest, puts_a_verified_file_in_its_place_and_reports_all_about_it) {
    const std::string content = std::string(65536, 'a') + std::string(10, 'b');
    expect_content(content);
    streams = {{.chunks = {content.substr(0, 65536), content.substr(65536)}}};
    Ticks progress;
    on_progress = [&](std::uint64_t received) { progress.push_back(received); };
    const std::uint64_t day_ago = machine.world.clock.file_time() - 864000000000;
    machine.world.disk.put(std::wstring(kTarget) + L".qmpart-1-00.part", "stale", day_ago);
    machine.world.disk.put(std::wstring(kTarget) + L".qmpart-1-01.part", "young", day_ago + 1);
    EXPECT_TRUE(download());
    EXPECT_EQ(error, L"");
    EXPECT_EQ(progress, (Ticks{65536, 65546}));
    EXPECT_EQ((Ticks{outcome.bytes_received, outcome.bytes_written, outcome.buffer_size, outcome.largest_read}),
              (Ticks{65546, 65546, 65536, 65536}));
    EXPECT_EQ((Ticks{outcome.attempts_made, outcome.retries, outcome.stale_parts_removed}), (Ticks{1, 0, 1}));
    EXPECT_TRUE(outcome.completed && outcome.size_matched && outcome.sha256_matched);
    EXPECT_FALSE(outcome.cancelled || outcome.crc32_matched);
    EXPECT_EQ(outcome.sha256, digest);
    machine.world.disk.lose_power(machine.world.disk.all_lost());
    EXPECT_EQ(staged(), (Files{{"files/new.bin", content}, {"files/new.bin.qmpart-1-01.part", "young"}}));
    EXPECT_NE(machine.world.disk.attributes(kTarget) & 0x100U, 0U);
}

TEST_F(DownloadTest, compares_a_crc_where_one_is_given_and_reports_it_in_any_case) {
    const std::string crc = "cbf43926";
    for (const std::string* given : {static_cast<const std::string*>(nullptr), &crc}) {
        expected = {false, 1000, nullptr, given};
        opened_at.clear();
        EXPECT_TRUE(download());
        EXPECT_EQ(outcome.crc32, 0xCBF43926U);
        EXPECT_EQ(outcome.crc32_matched, given != nullptr);
        EXPECT_FALSE(outcome.size_matched || outcome.sha256_matched);
    }
}

const std::string kWrongCrc = "CBF43926";
const wchar_t* const kWrongSize = L"Tamanho recebido difere do manifesto.";
const wchar_t* const kWrongSha256 = L"SHA-256 incremental difere do manifesto.";
const wchar_t* const kTooMuch = L"Download excedeu o limite permitido.";
const wchar_t* const kInvalid = L"Leitura HTTP invalida.";
const struct {
    Stream stream;
    std::wstring error;
    std::uint32_t attempts;
    const std::string* crc = nullptr;
} kAttempts[] = {{{.opened = IoStatus::Retry, .open_text = L"aberto mal"}, L"aberto mal", 3},
                 {{.opened = IoStatus::Fatal, .open_text = L"fatal"}, L"fatal", 1},
                 {{.opened = IoStatus::EndOfStream}, L"", 1},
                 {{.chunks = {"123"}, .end = IoStatus::Retry, .end_text = L"interrompido"}, L"interrompido", 3},
                 {{.chunks = {"123"}, .end = IoStatus::Retry}, kInvalid, 3},
                 {{.end = IoStatus::Fatal, .end_text = L"fatal"}, L"fatal", 1},
                 {{.end = IoStatus::Fatal}, kInvalid, 1},
                 {{.end = IoStatus::Ok, .end_count = 5}, kInvalid, 1},
                 {{.open_text = L"de antes", .end = IoStatus::Ok}, L"de antes", 1},
                 {{.end = IoStatus::Data, .end_count = 0}, kInvalid, 1},
                 {{.end = IoStatus::Data, .end_count = 65537}, kInvalid, 1},
                 {{.chunks = {"12345678"}}, kWrongSize, 3, &kWrongCrc},
                 {{.chunks = {"12345678", "0"}}, kWrongSha256, 3, &kWrongCrc},
                 {{.chunks = {"123456789"}}, L"CRC32 incremental difere do manifesto.", 3, &kWrongCrc},
                 {{.chunks = {"12345678", "90"}}, kTooMuch, 1},
                 {{.chunks = {"1234567890"}}, kTooMuch, 1}};

TEST_F(DownloadTest, retries_what_another_attempt_may_cure_and_nothing_else) {
    machine.world.disk.put(kTarget, "old");
    for (const auto& row : kAttempts) {
        streams = {row.stream};
        expected.crc32 = row.crc;
        expect_failure(row.error, row.attempts);
        EXPECT_EQ(outcome.retries, row.attempts - 1) << narrow(row.error);
        EXPECT_FALSE(outcome.cancelled) << narrow(row.error);
        EXPECT_EQ(staged(), (Files{{"files/new.bin", "old"}})) << narrow(row.error);
    }
}

TEST_F(DownloadTest, starts_over_under_another_name_and_succeeds_with_a_good_attempt) {
    streams = {{.chunks = {"1234"}}, {.chunks = {"1234", "xxxxx"}}, {.chunks = {kContent}}};
    EXPECT_TRUE(download());
    EXPECT_EQ((Ticks{outcome.bytes_received, outcome.bytes_written, outcome.largest_read}), (Ticks{22, 22, 9}));
    const auto created = machine.calls("CreateFileW");
    EXPECT_EQ(std::set(created.begin(), created.end()).size(), 3U);
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
    for (const auto& [pause_ms, asked] : {std::pair(0U, 1U), {1U, 2U}, {50U, 2U}, {51U, 3U}, {250U, 6U}}) {
        for (std::uint32_t cancel_at = 1; cancel_at <= asked + 1; ++cancel_at) {
            std::uint32_t questions = 0;
            const std::uint64_t start = machine.world.clock.tick_ms();
            const bool slept = qm_streaming::sleep_with_cancel(pause_ms, [&] { return ++questions == cancel_at; });
            EXPECT_EQ(slept, cancel_at > asked) << pause_ms;
            EXPECT_EQ(machine.world.clock.tick_ms() - start, std::min(pause_ms, 50 * (cancel_at - 1))) << pause_ms;
        }
    }
}

TEST_F(DownloadTest, is_cancelled_at_any_question_and_leaves_nothing_behind) {
    streams = {{.chunks = {"1234"}}, {.chunks = {"1234", "56789"}}};
    std::uint32_t questions = 0;
    is_cancelled = [&] { return ++questions == 0; };
    EXPECT_TRUE(download());
    EXPECT_EQ(questions, 1U + 2 + 6 + 1 + 3);  // before the attempt, before its reads, in the pause, and again
    for (std::uint32_t cancel_at = 1; cancel_at <= 13; ++cancel_at) {
        machine.world.disk.erase(kTarget);
        questions = 0;
        is_cancelled = [&] { return ++questions >= cancel_at; };
        expect_failure(kCancelled, cancel_at < 10 ? 1 : 2);
        EXPECT_TRUE(outcome.cancelled) << cancel_at;
        EXPECT_EQ(opened_at.size(), cancel_at == 1 ? 0U : cancel_at <= 10 ? 1U : 2U) << cancel_at;
        EXPECT_EQ(outcome.retries, cancel_at <= 3 ? 0U : 1U) << cancel_at;
        EXPECT_EQ(staged(), Files()) << cancel_at;
    }
    is_cancelled = [asked = 0]() mutable { return ++asked == 1; };  // and taken back
    expect_failure(kOutOfTime, 1);
    EXPECT_FALSE(outcome.cancelled);
}

TEST_F(DownloadTest, may_take_15_minutes_and_not_a_millisecond_more) {
    constexpr std::uint64_t kLimitMs = 900000;
    for (const std::uint64_t beyond : {0U, 1U}) {
        // The first read takes all the time there is; or all but the pause of 250 ms before the second attempt.
        for (const bool retried : {false, true}) {
            streams = {{.chunks = {kContent}}, {.chunks = {kContent}}};
            if (retried) streams[0] = {.end = IoStatus::Retry, .end_text = L"x"};
            opened_at.clear();
            error.clear();
            before_read = [&, first = true]() mutable {
                if (std::exchange(first, false)) machine.world.clock.advance(kLimitMs + beyond - (retried ? 250 : 0));
            };
            EXPECT_EQ(download(), beyond == 0);
            EXPECT_EQ(error, beyond != 0 ? kOutOfTime : retried ? L"x" : L"");
            EXPECT_EQ(outcome.attempts_made, retried ? 2U : 1U);
            EXPECT_EQ(opened_at.size(), retried && beyond == 0 ? 2U : 1U);
            EXPECT_FALSE(outcome.cancelled);
        }
    }
}

TEST_F(DownloadTest, is_cancelled_rather_than_out_of_time) {
    bool late = false;
    before_read = [&] {
        machine.world.clock.advance(900001);
        late = true;
    };
    is_cancelled = [&] { return late; };
    expect_failure(kCancelled, 1);
}

TEST_F(DownloadTest, clears_its_part_away_when_a_callback_throws) {
    on_progress = [](std::uint64_t) { throw std::runtime_error("progress"); };
    EXPECT_THROW(download(), std::runtime_error);
    EXPECT_EQ(staged(), Files());
}

}  // namespace
}  // namespace support
