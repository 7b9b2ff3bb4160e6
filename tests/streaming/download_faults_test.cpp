// What fails on this side of the network: no failure here is retried.
#include <windows.h>

#include <tuple>

#include "tests/streaming/download_test.h"

namespace support {
namespace {

constexpr const wchar_t* kEscapes = L"Destino de download escapa da pasta permitida ou contem redirecionamento.";

TEST_F(DownloadTest, ends_at_a_local_failure_in_that_steps_words) {
    const std::tuple<const char*, std::uint32_t, const wchar_t*> rows[] = {
        {"CreateFileW", 5, L"Falha ao criar arquivo parcial unico (Windows 5)"},
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
    for (const auto& [call, code, text] : rows) {
        Faults faults(machine.world);
        faults.add(call, L"", code);
        machine.world.gate.last_error = 0;
        expect_failure(text, 1);
        EXPECT_EQ(staged(), (Files{{"files/new.bin", "old"}})) << call;
        EXPECT_TRUE(open_streams.expired()) << call;
    }
}

TEST_F(DownloadTest, makes_no_attempt_when_none_is_allowed) {
    options.attempts = 0;
    error = L"as it came";
    expect_failure(L"as it came", 0);
    EXPECT_EQ(machine.world.gate.calls(), 0U);
}

TEST_F(DownloadTest, refuses_a_destination_that_is_or_becomes_unsafe_and_makes_nothing_behind_it) {
    machine.world.disk.make_folder(kTarget);
    expect_failure(L"Destino de download existente nao e um arquivo regular.", 0);
    machine.world.disk.erase(L"C:\\Game\\stage");
    at_call(machine.world, "CreateDirectoryW", L"", winsim::Moment::after,
            [&] { redirect(machine.world, L"C:\\Game\\stage"); });
    for (const bool from_the_start : {false, true}) {
        expect_failure(kEscapes, 0);
        EXPECT_EQ(machine.world.disk.exists(L"C:\\Real\\files"), !from_the_start);
        machine.world.disk.erase(L"C:\\Real\\files");
    }
}

TEST_F(DownloadTest, says_that_its_folder_cannot_be_made_unless_a_text_stands_already) {
    Faults faults(machine.world);
    faults.add("CreateDirectoryW", L"", kDistinct, kAlways);
    expect_failure(L"Falha ao criar pasta segura para download.", 0);
    error = L"as it came";
    expect_failure(L"as it came", 0);
}

TEST_F(DownloadTest, leaves_what_stands_or_was_put_in_the_place_of_its_part_alone) {
    std::wstring part;
    machine.world.gate.add_watcher([&](const winsim::Call& call, winsim::Moment moment) {
        if (moment != winsim::Moment::before) return;
        if (call.name == "CreateFileW") part = call.subject;
        if (call.name != "BCryptFinishHash") return;
        machine.world.disk.erase(part);
        machine.world.disk.make_folder(part);
    });
    expect_failure(L"Arquivo parcial deixou de ser regular antes da promocao.", 1);
    EXPECT_TRUE(machine.world.disk.is_folder(part));
    machine.world.gate.clear_rules();
    machine.world.gate.add_watcher([&](const winsim::Call& call, winsim::Moment moment) {
        if (call.name != "CreateFileW" || moment != winsim::Moment::before) return;
        machine.world.disk.put(part = call.subject, "a stranger's");
    });
    expect_failure(L"Falha ao criar arquivo parcial unico (Windows 80)", 1);
    EXPECT_EQ(machine.world.disk.read(part), "a stranger's");
}

TEST_F(DownloadTest, closes_the_stream_before_it_flushes_and_shares_its_part_with_nobody) {
    int checks = 0;
    machine.world.gate.add_watcher([&](const winsim::Call& call, winsim::Moment moment) {
        if (moment != winsim::Moment::before) return;
        if (call.name == "FlushFileBuffers") checks += open_streams.expired() ? 1 : 0;
        if (call.name != "WriteFile") return;
        for (const DWORD access : {GENERIC_READ, GENERIC_WRITE, DELETE}) {
            EXPECT_THROW(machine.world.disk.hold(std::wstring(call.subject), access, 7), std::logic_error);
            ++checks;
        }
    });
    EXPECT_TRUE(download());
    EXPECT_EQ(checks, 4);
}

}  // namespace
}  // namespace support
