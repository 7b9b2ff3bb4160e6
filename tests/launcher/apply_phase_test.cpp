#include "launcher/update_run.h"
#include "tests/launcher/launcher_test.h"

namespace support {
namespace {

using Starts = std::vector<std::wstring>;

TEST(Apply, a_roll_back_that_failed_is_finished_by_the_next_job) {
    Job machine;
    machine.client_answers("apply");
    {
        Faults faults(machine.world);
        faults.add("ReplaceFileW", L"Game\\init.lua");
        faults.add("MoveFileExW", L"Game\\Vandrel Updater.exe");
        ASSERT_EQ(machine.update(), 1);
    }
    machine.job = L"ffffffffffffffffffffffffffffffff";
    machine.start_client();
    EXPECT_EQ(machine.update(), 0);
    EXPECT_EQ(machine.status().detail, "Versao anterior restaurada. Tente atualizar novamente quando desejar.");
    EXPECT_EQ(machine.client_files(), minimal_client());
}

TEST(Apply, a_client_that_does_not_close_in_time_is_left_alone_and_nothing_is_preserved) {
    Job machine;
    machine.client_answers("apply", 120200);
    EXPECT_EQ(machine.update(), 1);
    EXPECT_EQ(machine.status().detail, "Cliente nao encerrou; atualizacao preservada sem instalar.");
    EXPECT_EQ(machine.store(), std::vector<std::wstring>{});
    EXPECT_EQ(machine.client_starts(), Starts{});
    EXPECT_EQ(machine.client_files(), minimal_client());
}

TEST(Apply, a_target_edited_during_the_download_stops_the_install_and_stays_as_edited) {
    Job machine;
    machine.client_answers("apply");
    machine.on_state("downloading", [&] { machine.world.disk.put(L"C:\\Game\\init.lua", "-- mine"); });
    EXPECT_EQ(machine.update(), 1);
    EXPECT_EQ(machine.status().detail, "Cliente mudou durante o download; nenhuma alteracao aplicada.");
    Files expected = minimal_client();
    expected["init.lua"] = "-- mine";
    EXPECT_EQ(machine.client_files(), expected);
    EXPECT_EQ(machine.client_starts(), Starts{kRecoveredStart});
}

TEST(Apply, files_are_fetched_one_after_the_other_in_the_manifests_order_behind_the_staging_record) {
    Job machine;
    std::vector<std::wstring> files;
    const std::wstring base = L"/client-brd/updater.php?action=download&arch=64&release=2&file=";
    machine.tamper = [&](const winsim::Request& request, winsim::Response&) {
        if (!request.object.starts_with(base)) return;
        files.push_back(request.object.substr(base.size()));
        EXPECT_TRUE(machine.world.disk.exists(machine.transaction_folder() + L"\\staging.transaction"));
    };
    machine.client_answers("apply");
    EXPECT_EQ(machine.update(), 0);
    EXPECT_EQ(files, (std::vector<std::wstring>{L"Vandrel%20Updater.exe", L"data%2Fempty",
                                                L"data%2Fnew%2Fdeep%2Ffile.bin", L"init.lua", L"modules%2Fgame.lua"}));
}

// No command line gives a pid of 0, but a run works without a client's process.
TEST(Apply, without_a_client_process_nothing_is_waited_for_and_the_client_is_started_whatever_happens) {
    for (const bool fails : {false, true}) {
        Job machine;
        machine.end_client();
        machine.client_pid = 0;
        machine.say("apply");
        vandrel::LaunchOptions options = machine.options();
        options.relocated = true;
        Faults faults(machine.world);
        if (fails) faults.add("ReplaceFileW", L"Game\\init.lua");
        const std::uint64_t start = machine.world.clock.tick_ms();
        const std::wstring words = refusal(machine.world, [&] { vandrel::run_update(options); });
        EXPECT_EQ(words, fails ? faults.text_before(L"Substituir arquivo com backup") : L"");
        EXPECT_EQ(machine.world.clock.tick_ms(), start);
        EXPECT_EQ(machine.client_starts(), Starts{fails ? kRecoveredStart : kPlainStart});
        EXPECT_TRUE(machine.client_files() == (fails ? minimal_client() : release_two()));
    }
}

TEST(Apply, a_sweep_that_fails_does_not_stop_the_update) {
    Job machine;
    machine.world.disk.make_folder(L"C:\\Game\\.vandrel-updater");
    Faults faults(machine.world);
    faults.add("FindFirstFileW", L".vandrel-updater", 5);
    machine.client_answers("apply");
    EXPECT_EQ(machine.update(), 0);
    EXPECT_TRUE(faults.happened());
    EXPECT_TRUE(machine.client_files() == release_two());
}

}  // namespace
}  // namespace support
