#include <functional>

#include "tests/launcher/launcher_test.h"

namespace support {
namespace {

const std::wstring kUnverified = L"Arquivo local nao pode ser verificado.";

// When the signature has been checked: the policy and the comparison are still to come.
void after_signature(Job& machine, std::function<void()> action) {
    at_call(machine.world, "BCryptVerifySignature", L"", winsim::Moment::after, std::move(action));
}

TEST(Check, a_current_client_is_told_so_and_never_asked) {
    Job machine;
    Files files = release_two();
    files["mine.txt"] = "no file of the release";
    machine.install(files);
    machine.world.disk.set_write_time(L"C:\\Game\\init.lua", 0);
    EXPECT_EQ(machine.run_first().exit_code, 0);
    EXPECT_EQ(machine.states(), (std::vector<std::string>{"checking", "current"}));
    EXPECT_TRUE(machine.client_files() == files);
    ASSERT_EQ(machine.world.network.requests().size(), 1U);
    EXPECT_EQ(machine.world.network.requests()[0].object, L"/client-brd/updater.php?action=manifest&arch=64");
    EXPECT_FALSE(machine.store_exists());
    EXPECT_TRUE(machine.world.processes.starts().empty());
}

struct Difference {
    const char* name;
    std::function<void(Job&)> arrange;  // on a current client
    std::uint64_t pending;
};

TEST(Check, files_are_told_apart_by_size_and_digest_alone) {
    const auto put = [](const wchar_t* path, const char* content) {
        return [path, content](Job& job) { job.world.disk.put(path, content); };
    };
    const std::vector<Difference> differences{
        {"a missing file", [](Job& job) { job.world.disk.erase(L"C:\\Game\\data\\new"); }, 1},
        {"the same size, another content", put(L"C:\\Game\\init.lua", "-- start 2, longeR"), 1},
        {"another size", put(L"C:\\Game\\init.lua", ""), 1},
        {"the same content, written anew", put(L"C:\\Game\\init.lua", "-- start 2, longer"), 0},
        {"another case of the name",
         [](Job& job) {
             job.world.disk.erase(L"C:\\Game\\init.lua");
             job.world.disk.put(L"C:\\Game\\INIT.LUA", "-- start 2, longer");
         },
         0},
    };
    for (const Difference& difference : differences) {
        SCOPED_TRACE(difference.name);
        Job machine;
        machine.install(release_two());
        difference.arrange(machine);
        machine.say("apply");
        const std::uint64_t before = machine.world.disk.fingerprint(kRoot);
        EXPECT_EQ(machine.run_first().exit_code, 0);
        EXPECT_EQ(machine.status().pending_files, difference.pending);
        EXPECT_EQ(machine.status().state, difference.pending == 0 ? "current" : "update_available");
        EXPECT_EQ(machine.world.disk.fingerprint(kRoot), before);
    }
}

struct Stop {
    const char* name;
    std::function<void(Job&, Faults&)> arrange;
    Words detail;
    const char* state = "error";
};

TEST(Check, what_stops_the_check_leaves_the_folder_alone_and_says_why) {
    const Words unreadable = after(L"Falha ao abrir arquivo para verificacao");
    const auto folder = [](const wchar_t* path) {
        return [path](Job& job, Faults&) {
            job.world.disk.erase(path);
            job.world.disk.make_folder(path);
        };
    };
    const std::vector<Stop> stops{
        {"a manifest that isn't served", [](Job& job, Faults&) { job.tamper = [](auto&, auto& a) { a.status = 500; }; },
         text(L"Servidor respondeu HTTP 500.")},
        {"a forged signature",
         [](Job& job, Faults&) {
             std::string document = manifest_of(2, release_two());
             document.back() ^= 1;
             job.serve_manifest(document);
         },
         text(L"Assinatura digital do manifesto rejeitada.")},
        {"a release that breaks the policy",
         [](Job& job, Faults&) { job.serve_manifest(manifest_of(0, release_two())); },
         text(L"Release vazia ou invalida.")},
        {"a folder at a file's place, found by the policy", folder(L"C:\\Game\\init.lua"),
         text(L"Pasta sem cliente Vandrel completo.")},
        {"a folder at another file's place", folder(L"C:\\Game\\modules\\game.lua"),
         text(L"Destino de download existente nao e um arquivo regular.")},
        {"a file that can't be read, of the right size",
         [](Job& job, Faults& faults) {
             job.world.disk.put(L"C:\\Game\\init.lua", "-- START 2, LONGER");
             faults.add("CreateFileW", L"init.lua", kDistinct, 100);
         },
         unreadable},
        {"a file that can't be read, of another size",
         [](Job&, Faults& faults) { faults.add("CreateFileW", L"init.lua", kDistinct, 100); }, text(kUnverified)},
        // The helper's own file fails its first digest alone and is planned; its message stays for the next one's.
        {"a message from an earlier entry",
         [](Job& job, Faults& faults) {
             job.world.disk.put(L"C:\\Game\\Vandrel Updater.exe", "HELPER 2");
             faults.add("CreateFileW", L"Vandrel Updater.exe", kDistinct, 1);
             faults.add("CreateFileW", L"init.lua", 32, 100);
         },
         unreadable},
        {"a status query that fails",
         [](Job& job, Faults& faults) {
             after_signature(job, [&faults] { faults.add("GetFileAttributesExW", L"data/empty", 5, 2); });
         },
         text(L"Falha local no atualizador. Seus arquivos de recuperacao foram preservados.")},
        {"cancel before the start", [](Job& job, Faults&) { job.say("cancel"); }, text(L"Atualizacao cancelada."),
         "cancelled"},
        {"the client's end without an answer",
         [](Job& job, Faults&) { job.on_state("update_available", [&job] { job.end_client(); }); },
         text(L"Cliente encerrou sem autorizar atualizacao.")},
        {"no answer in time", [](Job&, Faults&) {}, text(L"Tempo de autorizacao esgotado.")},
    };
    for (const Stop& stop : stops) {
        SCOPED_TRACE(stop.name);
        Job machine;
        Faults faults(machine.world);
        stop.arrange(machine, faults);
        const std::uint64_t before = machine.world.disk.fingerprint(kRoot);
        EXPECT_EQ(machine.run_first().exit_code, 1);
        EXPECT_EQ(machine.status().state, stop.state);
        EXPECT_EQ(machine.detail(), stop.detail(faults));
        EXPECT_EQ(machine.world.disk.fingerprint(kRoot), before);
        EXPECT_TRUE(machine.world.processes.starts().empty());
    }
}

TEST(Check, a_cancel_before_the_comparison_beats_current) {
    for (const char* command : {"cancel", "apply"}) {
        Job machine;
        machine.install(release_two());
        after_signature(machine, [&] { machine.say(command); });
        const bool cancelled = std::string(command) == "cancel";
        EXPECT_EQ(machine.run_first().exit_code, cancelled ? 1 : 0);
        EXPECT_EQ(machine.status().state, cancelled ? "cancelled" : "current");
    }
}

// The policy looks at every target before the comparison does, so this takes a folder that appears between them.
TEST(Check, a_folder_that_appears_at_a_files_place_cannot_be_measured) {
    Job machine;
    const std::wstring path = L"C:\\Game\\modules/game.lua";
    at_call(machine.world, "GetFileAttributesExW", path, winsim::Moment::before, [&] {
        machine.world.disk.erase(path);
        machine.world.disk.make_folder(path);
    });
    EXPECT_EQ(machine.run_first().exit_code, 1);
    EXPECT_EQ(machine.detail(), kUnverified);
}

TEST(Check, an_apply_from_before_the_start_is_honoured_as_soon_as_the_wait_begins) {
    Job machine;
    machine.say("apply");
    const std::uint64_t start = machine.world.clock.tick_ms();
    EXPECT_EQ(machine.run_first().exit_code, 0);
    EXPECT_EQ(machine.world.clock.tick_ms(), start);
    machine.say("cancel");  // and taken back by the time the copy waits
    EXPECT_EQ(machine.run_copy().exit_code, 1);
    EXPECT_EQ(machine.status().detail, "Atualizacao cancelada.");
}

}  // namespace
}  // namespace support
