#include "tests/launcher/launcher_test.h"

namespace support {
namespace {

// How far the first instance has got; each includes the one before.
enum Reached { kStart, kManifest, kPlan, kOffer, kCopy };

struct Stop {
    Reached reached;
    const char* name;
    Event event;
    Words detail;
};

Event client(const wchar_t* image) {
    return [=](Machine& machine, Faults&) { machine.start_client(image); };
}
Event client_process(std::uint32_t open_error, std::uint32_t image_error) {
    return [=](Machine& machine, Faults&) {
        machine.world.processes.get(machine.client_pid).open_error = open_error;
        machine.world.processes.get(machine.client_pid).image_error = image_error;
    };
}
Event serves(const std::string& document) {
    return [=](Machine& machine, Faults&) { machine.serve_manifest(document); };
}
std::string forged() {
    std::string document = manifest_of(2, release_two());
    document.back() ^= 1;
    return document;
}
Event lengthened(const wchar_t* path, std::uint64_t zeros) {
    return [=](Machine& machine, Faults&) { machine.world.disk.lengthen(path, zeros); };
}
// When the policy and the comparison are still to come.
Event signature_checked(Event event) {
    return behind("BCryptVerifySignature", L"", std::move(event));
}
Event applying(Event event) {
    return both(says("apply"), std::move(event));
}

constexpr const wchar_t* kScript = L"C:\\Game\\init.lua";
const Words kUnverified = text(L"Arquivo local nao pode ser verificado.");
const Words kUnreadable = after(L"Falha ao abrir arquivo para verificacao");
const Words kWrongPid = text(L"PID nao pertence ao backend desta pasta.");
const Words kLocal = text(L"Falha local no atualizador. Seus arquivos de recuperacao foram preservados.");

const std::vector<Stop> kStops{
    {kStart, "no digest", failing("BCryptOpenAlgorithmProvider"), text(L"Hash da pasta falhou.")},
    {kStart, "no mutex", failing("CreateMutexW"), after(L"Criar trava de atualizacao")},
    {kStart, "a wait that fails", failing("WaitForSingleObject"), text(L"Outro atualizador esta usando esta pasta.")},
    {kStart, "a pid of nobody", ends, after(L"Abrir processo do cliente", 87)},
    {kStart, "a pid not to be opened", client_process(5, 0), after(L"Abrir processo do cliente", 5)},
    {kStart, "an image that isn't told", client_process(0, 31), kWrongPid},
    {kStart, "the other backend", client(L"C:\\Game\\brindler_gl_x64.exe"), kWrongPid},
    {kStart, "another folder", client(L"C:\\Game2\\brindler_dx_x64.exe"), kWrongPid},
    {kStart, "a status that fails is told by one more try", failing("CreateFileW", L".status.json"),
     after(L"Criar arquivo temporario")},
    {kStart, "a record that can't be looked for", failing("GetFileAttributesExW", L"active.transaction", 5), kLocal},
    {kManifest, "no manifest", answered([](auto&, auto& answer) { answer.status = 500; }),
     text(L"Servidor respondeu HTTP 500.")},
    {kManifest, "a manifest that is none", serves("QMU1"), text(L"Manifesto Vandrel invalido.")},
    {kManifest, "a forged signature", serves(forged()), text(L"Assinatura digital do manifesto rejeitada.")},
    {kManifest, "a release against the policy", serves(manifest_of(3, {{"readme.txt", "x"}})),
     text(L"Caminho nao gerenciado no manifesto.")},
    {kStart, "a folder at a file's place", folder(kScript), text(L"Pasta sem cliente Vandrel completo.")},
    {kManifest, "a folder at another file's place", folder(L"C:\\Game\\modules\\game.lua"),
     text(L"Destino de download existente nao e um arquivo regular.")},
    {kPlan, "a file not to be read, of the release's size",
     both(file(kScript, "-- START 2, LONGER"), failing("CreateFileW", L"init.lua", kDistinct, 100)), kUnreadable},
    {kPlan, "a file not to be read, of another size", failing("CreateFileW", L"init.lua", kDistinct, 100), kUnverified},
    // The helper's own file fails its first digest alone and is planned; its message stays for the next one's.
    {kPlan, "a message from an earlier entry",
     both(file(kHelper, "HELPER 2"),
          both(failing("CreateFileW", L"Vandrel Updater.exe"), failing("CreateFileW", L"init.lua", 32, 100))),
     kUnreadable},
    {kPlan, "a file whose size isn't told", failing("GetFileAttributesExW", L"modules/game.lua", 5, 1, 2), kUnverified},
    {kPlan, "a file of more than 4 GiB, the release's size in its lower half",
     both(file(kScript, "-- start 2, longer"), lengthened(kScript, 4294967296)), kUnverified},
    {kPlan, "a file of 4 GiB and a byte", lengthened(kScript, 4294967297 - 10), kUnverified},
    {kPlan, "a status query that fails", signature_checked(failing("GetFileAttributesExW", L"data/empty", 5, 2)),
     kLocal},
    {kManifest, "cancel before the start", says("cancel"), text(kCancelled)},
    {kPlan, "cancel in the comparison", behind("CreateFileW", L"brindler_gl_x64.exe", says("cancel")),
     text(kCancelled)},
    {kOffer, "the client's end without an answer", on("update_available", ends),
     text(L"Cliente encerrou sem autorizar atualizacao.")},
    {kOffer, "no answer in time", nothing, text(L"Tempo de autorizacao esgotado.")},
    {kOffer, "no temporary folder", applying(failing("GetTempPathW", L"", kDistinct, 2)), text(L"TEMP indisponivel.")},
    {kOffer, "a redirected folder", applying(junction(kHelpers)), text(L"Diretorio com redirecionamento recusado.")},
    {kOffer, "an unknown own path", applying(failing("GetModuleFileNameW", L"", 5, 1, 1)),
     text(L"Nao foi possivel identificar o atualizador.")},
    // The number is from behind the making of the copy's folder: a listing before it ended with 18.
    {kOffer, "a copy that fails", applying(both(folder(kHelpers), failing("CopyFileW"))),
     after(L"Preparar auxiliar temporario", 2)},
    {kCopy, "an earlier copy that stands there", applying(file(kHelpers + L"\\" + kJob + kCopyName, "an earlier copy")),
     after(L"Preparar auxiliar temporario", 18)},
    {kCopy, "a start that fails", applying(failing("CreateProcessW")), before(L"Iniciar processo")},
};

TEST(FirstInstance, stops_with_its_reason_and_leaves_the_folder_alone) {
    for (const Stop& stop : kStops) {
        SCOPED_TRACE(stop.name);
        Job machine;
        Faults faults(machine.world);
        stop.event(machine, faults);
        const std::uint64_t before = machine.world.disk.fingerprint(kRoot);
        const winsim::RunResult result = machine.run_first();
        EXPECT_EQ(result.exit_code, 1);
        EXPECT_EQ(result.leaked_handles + result.leaked_blocks + result.kept_mutexes, 0U);
        EXPECT_EQ(machine.detail(), stop.detail(faults));
        EXPECT_EQ(machine.status().state, machine.detail() == kCancelled ? "cancelled" : "error");
        EXPECT_EQ(machine.status().progress, 0);
        EXPECT_EQ(machine.status().release, stop.reached >= kPlan ? 2U : 0U);
        EXPECT_EQ(machine.status().pending_files, stop.reached >= kOffer ? 5U : 0U);
        EXPECT_EQ(machine.world.network.requests().size(), stop.reached >= kManifest ? 1U : 0U);
        EXPECT_EQ(machine.was_told("update_available"), stop.reached >= kOffer);
        EXPECT_EQ(machine.world.disk.exists(kHelpers + L"\\" + kJob + kCopyName), stop.reached >= kCopy);
        EXPECT_EQ(machine.world.disk.fingerprint(kRoot), before);
        EXPECT_TRUE(machine.world.processes.starts().empty());
    }
}

struct Difference {
    const char* name;
    Event event;  // on a current client
    std::uint64_t pending;
};

TEST(FirstInstance, tells_files_apart_by_size_and_digest_alone) {
    const std::vector<Difference> differences{
        {"none, with a file of the player's own", file(L"C:\\Game\\mine.txt", "no file of the release"), 0},
        {"a missing file", gone(L"C:\\Game\\data\\new"), 1},
        {"another content of the same size", file(kScript, "-- start 2, longeR"), 1},
        {"the same content, written anew", file(kScript, "-- start 2, longer"), 0},
    };
    for (const Difference& difference : differences) {
        SCOPED_TRACE(difference.name);
        Job machine;
        Faults faults(machine.world);
        machine.install(release_two());
        difference.event(machine, faults);
        machine.say("apply");
        const std::uint64_t before = machine.world.disk.fingerprint(kRoot);
        EXPECT_EQ(machine.run_first().exit_code, 0);
        const Status current{narrow(kJob), "current", 100, "Cliente atualizado.", 2, 0};
        const Status offer{narrow(kJob), "update_available", 0, "Atualizacao disponivel.", 2, difference.pending};
        EXPECT_EQ(machine.status(), difference.pending == 0 ? current : offer) << machine.status_text();
        EXPECT_EQ(machine.history().size(), 2U);
        EXPECT_EQ(machine.world.processes.starts().size(), difference.pending);
        EXPECT_EQ(machine.world.disk.fingerprint(kRoot), before);
    }
}

TEST(FirstInstance, measures_a_file_of_4_GiB) {
    Job machine;
    Faults faults(machine.world);
    machine.world.disk.lengthen(kScript, 4294967296 - 10);  // behind "-- start 1"
    faults.add("ReadFile", L"init.lua");
    EXPECT_EQ(machine.run_first().exit_code, 1);
    EXPECT_TRUE(faults.happened());
}

}  // namespace
}  // namespace support
