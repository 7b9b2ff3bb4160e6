// What fails on this side of the network: no failure here is retried.
#include "tests/streaming/download_test.h"

namespace support {
namespace {

TEST_F(DownloadTest, ends_at_a_local_failure_in_that_steps_words) {
    const struct {
        const char* call;
        std::uint32_t error;
        std::wstring text;
        int skip = 0;
    } rows[] = {{"CreateFileW", 5, L"Falha ao criar arquivo parcial unico (Windows 5)"},
                {"BCryptOpenAlgorithmProvider", kDistinct, L"Falha ao iniciar SHA-256 incremental."},
                {"BCryptGetProperty", kDistinct, L"Falha ao preparar SHA-256 incremental."},
                {"BCryptCreateHash", kDistinct, L"Falha ao criar SHA-256 incremental."},
                {"WriteFile", 112, L"Falha ao gravar arquivo parcial (Windows 112)"},
                {"WriteFile", winsim::kShortTransfer, L"Falha ao gravar arquivo parcial (Windows 0)"},
                {"BCryptHashData", kDistinct, L"Falha no SHA-256 incremental."},
                {"FlushFileBuffers", 1117, L"Falha ao persistir arquivo parcial (Windows 1117)"},
                {"BCryptFinishHash", kDistinct, L"Falha ao finalizar SHA-256 incremental."},
                {"ReplaceFileW", 32, L"Falha na promocao atomica (Windows 32)"}};
    machine.world.disk.put(kTarget, "old");
    for (const auto& row : rows) {
        Faults faults(machine.world);
        faults.add(row.call, L"", row.error);
        opened_at.clear();
        machine.world.gate.last_error = 0;
        EXPECT_FALSE(download());
        EXPECT_EQ(error, row.text);
        EXPECT_EQ(outcome.attempts_made, 1U) << row.call;
        EXPECT_EQ(staged(), (Files{{"files/new.bin", "old"}})) << row.call;
        EXPECT_TRUE(open_streams.expired()) << row.call;
    }
}

TEST_F(DownloadTest, makes_no_attempt_when_none_is_allowed) {
    options.attempts = 0;
    error = L"as it came";
    outcome.completed = true;
    EXPECT_FALSE(download());
    EXPECT_EQ(error, L"as it came");
    EXPECT_FALSE(outcome.completed);
    EXPECT_EQ(machine.world.gate.calls(), 0U);
}

TEST_F(DownloadTest, refuses_a_destination_that_is_or_becomes_unsafe) {
    machine.world.disk.make_folder(kTarget);
    EXPECT_FALSE(download());
    EXPECT_EQ(error, L"Destino de download existente nao e um arquivo regular.");
    machine.world.disk.erase(L"C:\\Game\\stage");
    machine.world.gate.add_watcher([&](const winsim::Call& call, winsim::Moment moment) {
        if (call.name != "CreateDirectoryW" || moment != winsim::Moment::after) return;
        machine.world.disk.erase(L"C:\\Game\\stage");
        machine.world.disk.make_junction(L"C:\\Game\\stage", L"C:\\Users");
    });
    EXPECT_FALSE(download());
    EXPECT_EQ(error, L"Destino de download escapa da pasta permitida ou contem redirecionamento.");
    EXPECT_TRUE(opened_at.empty());
}

TEST_F(DownloadTest, says_that_its_folder_cannot_be_made_unless_a_text_stands_already) {
    for (const std::wstring& before : {std::wstring(), std::wstring(L"as it came")}) {
        Faults faults(machine.world);
        faults.add("CreateDirectoryW");
        error = before;
        EXPECT_FALSE(download());
        EXPECT_EQ(error, before.empty() ? L"Falha ao criar pasta segura para download." : before);
    }
}

TEST_F(DownloadTest, leaves_what_was_put_in_the_place_of_its_part_alone) {
    std::wstring part;
    machine.world.gate.add_watcher([&](const winsim::Call& call, winsim::Moment moment) {
        if (moment != winsim::Moment::before) return;
        if (call.name == "CreateFileW") part = call.subject;
        if (call.name != "BCryptFinishHash") return;
        machine.world.disk.erase(part);
        machine.world.disk.make_folder(part);
    });
    EXPECT_FALSE(download());
    EXPECT_EQ(error, L"Arquivo parcial deixou de ser regular antes da promocao.");
    EXPECT_EQ(outcome.attempts_made, 1U);
    EXPECT_TRUE(machine.world.disk.is_folder(part));
}

TEST_F(DownloadTest, closes_the_stream_before_it_flushes_and_shares_its_part_with_nobody) {
    int checks = 0;
    machine.world.gate.add_watcher([&](const winsim::Call& call, winsim::Moment moment) {
        if (moment != winsim::Moment::before) return;
        if (call.name == "WriteFile") {
            ++checks;
            const std::wstring part(call.subject);
            EXPECT_THROW(machine.world.disk.hold(part, GENERIC_READ, 7), std::logic_error);
        }
        if (call.name == "FlushFileBuffers") {
            ++checks;
            EXPECT_TRUE(open_streams.expired());
        }
    });
    EXPECT_TRUE(download());
    EXPECT_EQ(checks, 2);
}

}  // namespace
}  // namespace support
