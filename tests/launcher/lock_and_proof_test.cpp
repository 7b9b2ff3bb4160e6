#include "launcher/entry.h"
#include "tests/launcher/launcher_test.h"

namespace support {
namespace {

// With the SHA-256 of "c:\game" behind it.
const std::wstring kLockName =
    L"Local\\VandrelUpdater-a3c9d6e69b6e6d63ffb712ecfd27b7d03a716ea1ba9a730dbcabb0b059824e38";

TEST(Lock, the_first_instance_does_not_wait_for_it_and_the_copy_10000_ms) {
    for (const std::uint64_t freed_after : {0U, 10000U, 10001U}) {
        Job machine;
        machine.client_answers("apply");
        if (freed_after != 0) machine.run_first();
        machine.forget_history();
        const std::uint32_t other = machine.world.processes.start(L"C:\\Users\\Ana\\other.exe");
        machine.world.processes.take_mutex(kLockName, other);
        machine.world.clock.after(freed_after, [&] { machine.world.processes.release_mutex(kLockName); });
        const std::uint64_t start = machine.world.clock.tick_ms();
        const winsim::RunResult result = freed_after == 0 ? machine.run_first() : machine.run_copy();
        EXPECT_EQ(result.exit_code, freed_after == 10000 ? 0 : 1);
        if (freed_after == 10000) continue;
        EXPECT_EQ(machine.world.clock.tick_ms() - start, freed_after == 0 ? 0U : 10000U);
        EXPECT_EQ(machine.states(), (std::vector<std::string>{"checking", "error"}));
        EXPECT_EQ(machine.detail(), L"Outro atualizador esta usando esta pasta.");
    }
}

// A copy that somebody starts himself may be told the folder by any name.
TEST(Lock, one_folder_is_one_lock_under_each_name_but_one_that_ends_in_a_separator) {
    for (const wchar_t* root : {L"c:\\GAME", L"C:/Game", L"C:\\x\\..\\Game", L"C:\\Game\\"}) {
        Job machine;
        machine.client_answers("apply");
        machine.run_first();
        machine.world.processes.take_mutex(kLockName, machine.world.processes.start(L"C:\\Users\\Ana\\other.exe"));
        const winsim::Start copy = machine.world.processes.starts().front();
        const std::wstring line = copy.command_line.substr(0, copy.command_line.rfind(L"/ROOT=")) + L"/ROOT=" + root;
        const bool alone = machine.world.run(copy.application, line, &vandrel::run_helper).exit_code == 0;
        EXPECT_EQ(alone, std::wstring(root).ends_with(L'\\')) << narrow(root) << machine.status().detail;
        EXPECT_EQ(machine.detail() == L"Outro atualizador esta usando esta pasta.", !alone);
    }
}

TEST(Lock, an_abandoned_one_is_simply_taken) {
    Job machine;
    const std::uint32_t killed = machine.world.processes.start(L"C:\\Users\\Ana\\other.exe");
    machine.world.processes.take_mutex(kLockName, killed);
    machine.world.processes.end(killed);
    machine.client_answers("apply");
    EXPECT_EQ(machine.update(), 0);
    EXPECT_TRUE(machine.client_files() == release_two());
}

TEST(Lock, it_is_held_from_the_proof_to_the_end_and_free_when_the_last_word_is_written) {
    Job machine;
    std::vector<bool> held;
    for (const char* state : {"checking", "update_available", "cancelled"}) {
        machine.on_state(state, [&] { held.push_back(machine.world.processes.mutex_held(kLockName)); });
    }
    machine.on_state("update_available", [&] { machine.say("cancel"); });
    machine.world.gate.keep_trace(true);
    const winsim::RunResult result = machine.run_first();
    EXPECT_EQ(held, (std::vector<bool>{false, true, false}));
    EXPECT_EQ(result.leaked_handles, 0U);
    const std::vector<std::string>& trace = machine.world.gate.trace();
    std::size_t release = 0;
    while (release < trace.size() && trace[release].find(" ReleaseMutex") == std::string::npos) ++release;
    ASSERT_LT(release + 1, trace.size());
    // First the client's process, then the ownership, then the mutex.
    EXPECT_NE(trace[release - 1].find(" CloseHandle"), std::string::npos) << trace[release - 1];
    EXPECT_NE(trace[release + 1].find(" CloseHandle"), std::string::npos) << trace[release + 1];
}

// An image path is compared normalised and without case.
TEST(Proof, a_client_that_exits_before_the_copy_looks_ends_the_job) {
    Job machine;
    machine.start_client(L"c:\\GAME\\.\\Brindler_DX_x64.exe");
    machine.client_answers("apply");
    ASSERT_EQ(machine.run_first().exit_code, 0);
    machine.end_client();
    EXPECT_EQ(machine.run_copy().exit_code, 1);
    EXPECT_EQ(machine.status().detail, "Abrir processo do cliente (87): The parameter is incorrect.\r\n");
    EXPECT_EQ(machine.client_files(), minimal_client());
}

}  // namespace
}  // namespace support
