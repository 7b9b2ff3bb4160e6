#include <functional>

#include "tests/launcher/launcher_test.h"

namespace support {
namespace {

const std::string kOffer = "Uma instalacao interrompida precisa ser restaurada.";

// A job whose power went when init.lua, the fourth of five files, had been replaced; the player starts again.
struct Interrupted : Job {
    Interrupted() {
        world.gate.add_watcher([this](const winsim::Call& call, winsim::Moment moment) {
            const bool there = call.name == "ReplaceFileW" && call.subject == L"C:\\Game\\init.lua";
            if (there && moment == winsim::Moment::after && status().state == "handoff") world.gate.cut_now();
        });
        on_state("update_available", [this] { say("apply"); });
        on_state("handoff", [this] { end_client(); });
        update();
        world.lose_power(world.disk.nothing_lost());
        world.network.forget_requests();
        world.processes.forget_starts();
        forget_history();
        begin_job(L"ffffffffffffffffffffffffffffffff");
    }

    void begin_job(const wchar_t* id) {
        job = id;
        start_client();
    }
};

TEST(Recovery, an_interrupted_install_is_taken_back_without_a_server) {
    Interrupted machine;
    ASSERT_TRUE(machine.world.disk.exists(machine.active_record()));
    ASSERT_EQ(machine.client_files()["init.lua"], "-- start 2, longer");
    EXPECT_EQ(machine.update(), 0);
    EXPECT_TRUE(machine.world.network.requests().empty());
    EXPECT_TRUE(machine.client_files() == minimal_client());
    EXPECT_EQ(machine.store(), std::vector<std::wstring>{});
    EXPECT_EQ(machine.client_starts(), std::vector<std::wstring>{kRecoveredStart});
    const std::string job(32, 'f');
    const std::vector<Status> expected{
        {job, "checking", 0, "Verificando atualizacoes...", 0, 0},
        {job, "update_available", 0, kOffer, 2, 5},
        {job, "checking", 0, "Verificando atualizacoes...", 0, 0},
        {job, "update_available", 0, kOffer, 2, 5},
        {job, "handoff", 100, "Fechando cliente para restaurar arquivos anteriores...", 2, 5},
        {job, "current", 100, "Versao anterior restaurada. Tente atualizar novamente quando desejar.", 2, 5},
    };
    EXPECT_EQ(machine.history(), expected);

    machine.begin_job(L"eeeeeeeeeeeeeeeeeeeeeeeeeeeeeeee");  // the start after it is an ordinary one
    machine.say("cancel");
    machine.on_state("update_available", [] {});
    EXPECT_EQ(machine.run_first().exit_code, 1);
    EXPECT_EQ(machine.world.network.requests().size(), 1U);
}

struct Stuck {
    const char* name;
    std::function<void(Interrupted&, Faults&)> arrange;
    Words detail;
};

TEST(Recovery, what_stops_it_leaves_files_and_record_and_the_client_closed_and_the_next_start_meets_the_same) {
    const auto record = [](std::string bytes) {
        return [bytes](Interrupted& job, Faults&) { job.world.disk.put(job.active_record(), bytes); };
    };
    const std::vector<Stuck> cases{
        {"a record of 32 MiB that is none", record(std::string(33554432, '\0')),
         text(L"Registro de recuperacao invalido.")},
        {"a record of a byte more", record(std::string(33554433, '\0')), text(L"Arquivo excede o limite permitido.")},
        {"a record that can't be opened",
         [](Interrupted&, Faults& faults) { faults.add("CreateFileW", L"active.transaction", kDistinct, 100); },
         after(L"Abrir arquivo")},
        {"cancel instead of apply",
         [](Interrupted& job, Faults&) { job.on_state("update_available", [&job] { job.say("cancel"); }); },
         text(L"Atualizacao cancelada.")},
        {"cancel when the client has closed",
         [](Interrupted& job, Faults&) { job.on_state("handoff", [&job] { job.say("cancel"); }); },
         text(L"Atualizacao cancelada.")},
        {"another client of the folder",
         [](Interrupted& job, Faults&) { job.world.processes.start(L"C:\\Game\\brindler_gl_x64.exe"); },
         text(L"Outro cliente desta pasta esta aberto. Feche-o e tente novamente.")},
        {"a restoring rename that fails",
         [](Interrupted&, Faults& faults) { faults.add("MoveFileExW", L"Game\\init.lua", kDistinct, 100); },
         before(L"Restaurar arquivo anterior")},
        {"a file changed meanwhile",
         [](Interrupted& job, Faults&) { job.world.disk.put(L"C:\\Game\\init.lua", "-- mine"); },
         text(L"Arquivo alterado externamente; recuperacao interrompida.")},
    };
    for (const Stuck& stuck : cases) {
        SCOPED_TRACE(stuck.name);
        Interrupted machine;
        Faults faults(machine.world);
        stuck.arrange(machine, faults);
        const Files files = machine.client_files();
        const std::string record_bytes = machine.world.disk.read(machine.active_record());
        for (const wchar_t* job : {L"ffffffffffffffffffffffffffffffff", L"eeeeeeeeeeeeeeeeeeeeeeeeeeeeeeee"}) {
            machine.end_client();
            machine.begin_job(job);
            EXPECT_EQ(machine.update(), 1);
            EXPECT_EQ(machine.detail(), stuck.detail(faults));
            EXPECT_TRUE(machine.client_files() == files);
            EXPECT_EQ(machine.world.disk.read(machine.active_record()), record_bytes);
            EXPECT_EQ(machine.client_starts(), std::vector<std::wstring>{});
            EXPECT_TRUE(machine.world.network.requests().empty());
        }
    }
}

TEST(Recovery, a_release_is_never_put_on_top_of_an_active_record) {  // (4)
    Interrupted machine;
    machine.publish(3, release_two());
    EXPECT_EQ(machine.update(), 0);
    EXPECT_EQ(machine.status().release, 2U);
    EXPECT_TRUE(machine.client_files() == minimal_client());
}

}  // namespace
}  // namespace support
