// A download whose streams are scripted: one Stream for each attempt, the last one for all further ones.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <utility>

#include "streaming/download.h"
#include "tests/support/direct.h"

namespace support {

using qm_streaming::IoStatus;

struct Stream {
    IoStatus opened = IoStatus::Ok;
    std::wstring open_text = L"";
    std::vector<std::string> chunks = {};
    IoStatus end = IoStatus::EndOfStream;
    std::wstring end_text = L"";
    std::uint32_t end_count = 0;  // claimed by the last read
};

class DownloadTest : public testing::Test {
 protected:
    static constexpr const wchar_t* kTarget = L"C:\\Game\\stage\\files\\new.bin";
    static constexpr const char* kContent = "123456789";

    DownloadTest() {
        machine.install({});
        expect_content(kContent);
    }
    ~DownloadTest() override {
        EXPECT_EQ(machine.world.disk.open_handles(), 0U);
        EXPECT_EQ(machine.open_cng_objects(), 0U);
        EXPECT_TRUE(open_streams.expired());
    }

    void expect_content(const std::string& content) {
        digest = digest_of(content);
        expected = {true, content.size(), &digest, nullptr};
        max_bytes = content.size();
    }

    bool download() {
        return qm_streaming::streaming_download(
            kRoot, kTarget, max_bytes, expected, options,
            [this](std::uint32_t attempt, qm_streaming::ReadChunk& reader, std::wstring& text) {
                opened_at.push_back(machine.world.clock.tick_ms());
                EXPECT_EQ(attempt + 1, opened_at.size());
                EXPECT_EQ(text, L"");
                const Stream& stream = streams[std::min<std::size_t>(attempt, streams.size() - 1)];
                text = stream.open_text;
                if (stream.opened == IoStatus::Ok) reader = reader_of(stream);
                return stream.opened;
            },
            is_cancelled, on_progress, outcome, error);
    }

    // The download fails with that text after so many attempts, and claims nothing.
    void expect_failure(const std::wstring& text, std::uint32_t attempts) {
        opened_at.clear();
        outcome.completed = true;
        EXPECT_FALSE(download());
        EXPECT_EQ(error, text);
        EXPECT_EQ(outcome.attempts_made, attempts) << narrow(text);
        EXPECT_FALSE(outcome.completed || outcome.size_matched || outcome.sha256_matched || outcome.crc32_matched);
        EXPECT_EQ(outcome.sha256, vandrel::Digest{}) << narrow(text);
        EXPECT_EQ(outcome.crc32, 0U) << narrow(text);
    }

    // Everything in the stage, with "/" separators.
    Files staged() const { return files_beneath(machine.world.disk, L"C:\\Game\\stage"); }

    DirectMachine machine;
    std::vector<Stream> streams = {{.chunks = {kContent}}};
    std::uint64_t max_bytes = 0;
    vandrel::Digest digest{};
    qm_streaming::ExpectedContent expected;
    qm_streaming::DownloadOptions options;
    qm_streaming::IsCancelled is_cancelled;
    qm_streaming::OnProgress on_progress;
    qm_streaming::DownloadOutcome outcome;
    std::wstring error;
    std::vector<std::uint64_t> opened_at;  // ticks
    std::function<void()> before_read = [] {};
    std::weak_ptr<int> open_streams;

 private:
    qm_streaming::ReadChunk reader_of(const Stream& stream) {
        const auto next = std::make_shared<int>(0);
        open_streams = next;
        return [this, stream, next](std::uint8_t* buffer, std::uint32_t capacity, std::uint32_t& count,
                                    std::wstring& text) {
            EXPECT_EQ(capacity, 65536U);
            EXPECT_EQ(count, 0U);
            before_read();
            const auto index = static_cast<std::size_t>((*next)++);
            if (index >= stream.chunks.size()) {
                if (!stream.end_text.empty()) text = stream.end_text;
                count = stream.end_count;
                return stream.end;
            }
            std::ranges::copy(stream.chunks[index], buffer);
            count = static_cast<std::uint32_t>(stream.chunks[index].size());
            return IoStatus::Data;
        };
    }
};

}  // namespace support
