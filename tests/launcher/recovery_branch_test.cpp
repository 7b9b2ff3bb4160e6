#include "tests/launcher/launcher_test.h"

namespace support {
namespace {

const std::vector<std::string> kHistory{
    "checking 0 of 0/0: Verificando atualizacoes...",
    "update_available 0 of 2/5: Uma instalacao interrompida precisa ser restaurada.",
    "checking 0 of 0/0: Verificando atualizacoes...",
    "update_available 0 of 2/5: Uma instalacao interrompida precisa ser restaurada.",
    "handoff 100 of 2/5: Fechando cliente para restaurar arquivos anteriores...",
    "current 100 of 2/5: Versao anterior restaurada. Tente atualizar novamente quando desejar.",
};

// A job whose power went when init.lua, the fourth of five files, had been replaced; the player starts again.
struct Interrupted : Job {
    Interrupted() {
        world.gate.add_watcher([this](const winsim::Call& call, winsim::Moment moment) {
            const bool there = call.name == "ReplaceFileW" && call.subject == L"C:\\Game\\init.lua";
            if (there && moment == winsim::Moment::after && status().state == "handoff") world.gate.cut_now();
        });
        on_state("update_available", [this] { say("apply"); });
        on_state("handoff", [this] { world.clock.after(500, [this] { end_client(); }); });
        update();
        world.lose_power(world.disk.nothing_lost());
        world.network.forget_requests();
        world.processes.forget_starts();
        forget_history();
        begin_job(kNextJob);
    }

    void begin_job(const std::wstring& id) {
        job = id;
        start_client();
    }
};

TEST(Recovery, an_interrupted_install_is_taken_back_without_a_server) {
    Interrupted machine;
    ASSERT_TRUE(machine.world.disk.exists(machine.active_record()));
    ASSERT_EQ(machine.client_files()["init.lua"], "-- start 2, longer");
    std::string told;
    at_call(machine.world, "CreateProcessW", L"dx_x64.exe", winsim::Moment::before,
            [&] { told = machine.status().state; });
    machine.publish(3, release_two());  // (4): it isn't even asked for
    EXPECT_EQ(machine.update(), 0);
    EXPECT_EQ(told, "current");
    EXPECT_TRUE(machine.world.network.requests().empty());
    EXPECT_TRUE(machine.client_files() == minimal_client());
    EXPECT_EQ(machine.store(), std::vector<std::wstring>{});
    EXPECT_EQ(machine.client_starts(), std::vector<std::wstring>{kRecoveredStart});
    EXPECT_EQ(machine.told(), kHistory);

    machine.begin_job(L"eeeeeeeeeeeeeeeeeeeeeeeeeeeeeeee");  // the start after it is an ordinary one
    machine.say("cancel");
    machine.on_state("update_available", [] {});
    EXPECT_EQ(machine.run_first().exit_code, 1);
    EXPECT_EQ(machine.world.network.requests().size(), 1U);
}

struct Stuck {
    const char* name;
    Event event;
    Words detail;
};

Event record(std::size_t size) {
    return [=](Machine& machine, Faults&) { machine.world.disk.put(machine.active_record(), std::string(size, '\0')); };
}
void silent(Machine& machine, Faults& /*faults*/) {
    machine.forget_command();
}

const std::vector<Stuck> kStuck{
    {"a record of 32 MiB that is none", record(33554432), text(L"Registro de recuperacao invalido.")},
    {"a record of a byte more", record(33554433), text(L"Arquivo excede o limite permitido.")},
    {"a record not to be opened", failing("CreateFileW", L"active.transaction", kDistinct, 100),
     after(L"Abrir arquivo")},
    {"cancel instead of apply", on("update_available", says("cancel")), text(kCancelled)},
    {"no answer in time", on("update_available", silent), text(L"Tempo de autorizacao esgotado.")},
    {"the client's end without an answer", on("update_available", both(silent, ends)),
     text(L"Cliente encerrou sem autorizar atualizacao.")},
    {"cancel when the client has closed", on("handoff", says("cancel")), text(kCancelled)},
    {"another client of the folder", runs(L"C:\\Game\\brindler_gl_x64.exe"),
     text(L"Outro cliente desta pasta esta aberto. Feche-o e tente novamente.")},
    {"a restoring rename that fails", failing("MoveFileExW", L"Game\\init.lua", kDistinct, 100),
     before(L"Restaurar arquivo anterior")},
    {"a file changed meanwhile", file(L"C:\\Game\\init.lua", "-- mine"),
     text(L"Arquivo alterado externamente; recuperacao interrompida.")},
};

TEST(Recovery, what_stops_it_leaves_files_and_record_and_the_client_closed_and_the_next_start_meets_the_same) {
    for (const Stuck& stuck : kStuck) {
        SCOPED_TRACE(stuck.name);
        Interrupted machine;
        Faults faults(machine.world);
        stuck.event(machine, faults);
        const Files files = machine.client_files();
        const std::string record_bytes = machine.world.disk.read(machine.active_record());
        for (const std::wstring& job : {kNextJob, std::wstring(32, L'e')}) {
            machine.end_client();
            machine.begin_job(job);
            EXPECT_EQ(machine.update(), 1);
            EXPECT_EQ(machine.detail(), stuck.detail(faults));
            EXPECT_FALSE(machine.was_told("current"));
            EXPECT_TRUE(machine.client_files() == files);
            EXPECT_EQ(machine.world.disk.read(machine.active_record()), record_bytes);
            EXPECT_EQ(machine.client_starts(), Starts{});
            EXPECT_TRUE(machine.world.network.requests().empty());
        }
    }
}

}  // namespace
}  // namespace support
