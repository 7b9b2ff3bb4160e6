#include <map>
#include <new>
#include <set>

#include "launcher/update_run.h"
#include "tests/launcher/launcher_test.h"

namespace support {
namespace {

const std::wstring kFolder = std::wstring(kJob) + L"\\";
const std::wstring kIsBusy = L"Outro cliente desta pasta esta aberto. Feche-o e tente novamente.";

enum Contents { kOld, kNew, kTold, kEdited, kHalfWay };  // kTold: new, and the status says so

// What a failed copy leaves; the store {"*"}: the active record among others.
struct Left {
    std::size_t downloads = 5;  // asked for
    bool handed_off = true;
    Starts starts = {};
    Contents files = kOld;
    std::vector<std::wstring> store = {};
};
const std::vector<std::wstring> kActive{L"*"};
const std::vector<std::wstring> kMade{kFolder, kFolder + L"files\\"};
const std::vector<std::wstring> kStaged{kFolder, kFolder + L"files\\", kFolder + L"staging.transaction"};
const Left kClosing;
const Left kRestarted{.starts = {kRecoveredStart}};
const Left kInterrupted{.files = kHalfWay, .store = kActive};

Left asked(std::size_t downloads, std::vector<std::wstring> store = {}) {
    return {.downloads = downloads, .handed_off = false, .store = std::move(store)};
}

struct StagingStop {
    const char* name;
    Event event;  // when the copy is about to run
    Words detail;
    Left left;
    std::uint64_t closing_ms = 500;
};

// The answer to the request for data/new/deep/file.bin, the third of the five files.
Event third(std::function<void(winsim::Response&)> change) {
    return answered([=](const winsim::Request& request, winsim::Response& answer) {
        if (request.object.find(L"file.bin") != std::wstring::npos) change(answer);
    });
}
Event third_asked(Event event) {
    return [=](Machine& machine, Faults& faults) {
        third([=, &machine, &faults](auto&) { event(machine, faults); })(machine, faults);
    };
}
void missing(winsim::Response& answer) {
    answer.status = 404;
}
Event last_staged(Event event) {
    return behind("MoveFileExW", L"game.lua", std::move(event));
}

const std::wstring kStagedFolder = std::wstring(kRoot) + L"\\.vandrel-updater\\" + kJob + L"\\files";
const Event kSecondFails = failing("ReplaceFileW", L"Game\\init.lua");
const Words kReplaceFailed = before(L"Substituir arquivo com backup");

const std::vector<StagingStop> kStagingStops{
    {"cancel before the first file", on("downloading", says("cancel")), text(kCancelled), asked(0)},
    {"cancel in a transfer", third_asked(says("cancel")), text(kCancelled), asked(3)},
    {"cancel behind the last file", last_staged(says("cancel")), text(kCancelled), asked(5)},
    {"cancel while the client closes", on("handoff", says("cancel")), text(kCancelled), kClosing},
    {"cancel when it has closed", on("handoff", both(ends, says("cancel"))), text(kCancelled), kRestarted},
    {"the same, and its end can't be told",
     on("handoff", both(both(ends, says("cancel")), failing("WaitForSingleObject", L"", 6, 100))), text(kCancelled),
     kClosing},
    {"a client that doesn't close in time", nothing,
     text(L"Cliente nao encerrou; atualizacao preservada sem instalar."), kClosing, 120200},
    {"a file that isn't served", third(missing), text(L"Servidor respondeu HTTP 404."), asked(3)},
    {"the same, and the client has ended by itself", both(on("downloading", ends), third(missing)),
     text(L"Servidor respondeu HTTP 404."), asked(3)},
    {"a file too long", third([](auto& answer) { answer.body += 'x'; }), text(L"Download excedeu o limite permitido."),
     asked(3)},
    {"a file too short", third([](auto& answer) { answer.body.pop_back(); }),
     text(L"Tamanho recebido difere do manifesto."), asked(5)},
    {"another file", third([](auto& answer) { answer.body.back() = 'y'; }),
     text(L"SHA-256 incremental difere do manifesto."), asked(5)},
    {"no staging record", failing("CreateFileW", L"staging.transaction"), after(L"Criar arquivo temporario"),
     asked(0, kMade)},
    {"a redirected staging folder", on("downloading", junction(kStagedFolder)),
     text(L"Diretorio com redirecionamento recusado."), asked(0, kStaged)},
    {"the same behind a cancel", on("downloading", both(says("cancel"), junction(kStagedFolder))), text(kCancelled),
     asked(0, kStaged)},
    {"a discard that fails, too", on("downloading", both(says("cancel"), failing("RemoveDirectoryW", L"files"))),
     text(kCancelled), asked(0, kStaged)},
    {"no telling whether the record stands",
     on("downloading", both(says("cancel"), failing("GetFileAttributesExW", L"active.transaction"))),
     text(L"Falha local no atualizador. Seus arquivos de recuperacao foram preservados."), asked(0, kStaged)},
    {"no handoff status for a client that has ended",
     both(on("downloading", ends), last_staged(failing("CreateFileW", L".status.json"))),
     after(L"Criar arquivo temporario"), asked(5)},
    {"another client at the install", runs(L"C:\\Game\\brindler_gl_x64.exe"), text(kIsBusy), kRestarted},
    {"an edited file at the install",
     on("downloading", file(L"C:\\Game\\init.lua", "-- mine")),
     text(L"Cliente mudou durante o download; nenhuma alteracao aplicada."),
     {.starts = {kRecoveredStart}, .files = kEdited}},
    {"the second replacement fails", kSecondFails, kReplaceFailed, kRestarted},
    {"the roll-back fails, too", both(kSecondFails, failing("MoveFileExW", L"Game\\Vandrel Updater.exe")),
     before(L"Restaurar arquivo anterior"), kInterrupted},
    {"a client appears before the roll-back",
     both(kSecondFails, ahead_of("ReplaceFileW", L"Game\\init.lua", runs(L"C:\\Game\\brindler_gl_x64.exe"))),
     text(kIsBusy), kInterrupted},
    {"no last status",
     behind("DeleteFileW", L"active.transaction", failing("CreateFileW", L".status.json")),
     after(L"Criar arquivo temporario"),
     {.starts = {kRecoveredStart}, .files = kNew}},
    {"no start of the client",
     failing("CreateProcessW", L"brindler_dx"),
     before(L"Iniciar processo"),
     {.starts = {kRecoveredStart}, .files = kTold}},
    {"nor another", failing("CreateProcessW", L"brindler_dx", 5, 2), before(L"Iniciar processo", 1), {.files = kTold}},
};

Files expected_files(Contents contents) {
    Files files = contents == kNew || contents == kTold ? release_two() : minimal_client();
    if (contents == kEdited) files["init.lua"] = "-- mine";
    return files;
}

TEST(Apply, whatever_fails_is_taken_back_or_discarded_and_a_closed_client_started_again) {
    for (const StagingStop& stop : kStagingStops) {
        SCOPED_TRACE(stop.name);
        Job machine;
        ASSERT_EQ((machine.say("apply"), machine.run_first().exit_code), 0);
        Faults faults(machine.world);
        stop.event(machine, faults);
        machine.on_state("handoff", [&] { machine.world.clock.after(stop.closing_ms, [&] { machine.end_client(); }); });
        EXPECT_EQ(machine.run_copy().exit_code, 1);
        EXPECT_EQ(machine.status().state, stop.detail(faults) == kCancelled ? "cancelled" : "error");
        EXPECT_EQ(machine.status().progress, 0);
        EXPECT_EQ(machine.detail(), stop.detail(faults));
        EXPECT_EQ(machine.client_starts(), stop.left.starts);
        EXPECT_EQ(machine.world.network.requests().size(), 2 + stop.left.downloads);  // and two manifests
        EXPECT_EQ(machine.was_told("handoff"), stop.left.handed_off);
        EXPECT_EQ(machine.was_told("current"), stop.left.files == kTold);
        EXPECT_EQ(machine.world.disk.exists(machine.active_record()), stop.left.store == kActive);
        EXPECT_EQ(stop.left.store == kActive ? kActive : machine.store(), stop.left.store);
        if (stop.left.files == kHalfWay) continue;
        EXPECT_TRUE(machine.client_files() == expected_files(stop.left.files));
    }
}

// Bytes arrive one by one, 30 ms each and 30 more at a file's end: at 30 and 60, 120 to 240, 300 to 360 ms.
const std::vector<std::string> kProgress{
    "checking 0 of 0/0: Verificando atualizacoes...",
    "update_available 0 of 2/3: Atualizacao disponivel.",
    "checking 0 of 0/0: Verificando atualizacoes...",
    "update_available 0 of 2/3: Atualizacao disponivel.",
    "downloading 0 of 2/3: Baixando arquivos verificados...",
    "downloading 10 of 2/3: Baixando arquivos verificados...",
    "downloading 40 of 2/3: Baixando arquivos verificados...",
    "downloading 80 of 2/3: Baixando arquivos verificados...",
    "handoff 100 of 2/3: Arquivos verificados. Reiniciando o cliente...",
    "current 100 of 2/3: Atualizacao instalada.",
};

TEST(Apply, progress_is_told_of_all_files_together_and_every_100_ms_at_most) {
    Job machine;
    Files files = minimal_client();
    files["data/a"] = "12";
    files["data/b"] = "12345";
    files["data/c"] = "123";
    machine.publish(2, files);
    machine.tamper = [](const winsim::Request& request, winsim::Response& answer) {
        if (request.object.find(L"action=download") == std::wstring::npos) return;
        answer.chunk = 1;
        answer.read_ms = 30;
    };
    machine.client_answers("apply");
    EXPECT_EQ(machine.update(), 0);
    EXPECT_EQ(machine.told(), kProgress);
    EXPECT_TRUE(machine.client_files() == files);
    const winsim::Start& client = machine.world.processes.starts().back();
    EXPECT_EQ(client.command_line, kPlainStart);
    EXPECT_EQ(client.folder, kRoot);
    EXPECT_EQ(client.creation_flags + client.startup_flags, 0U);
}

TEST(Apply, folders_of_24_hours_are_swept_before_the_new_one_is_tagged) {
    Job machine;
    machine.client_answers("apply");
    at_call(machine.world, "MoveFileExW", L"Vandrel Updater.exe", winsim::Moment::before,
            [&] { machine.world.gate.cut_now(); });
    machine.update();
    machine.world.lose_power(machine.world.disk.nothing_lost());
    const std::wstring old_folder = machine.transaction_folder();
    machine.world.disk.set_write_time(old_folder + L"\\staging.transaction",
                                      machine.world.clock.file_time() - kDayTicks);
    machine.job = kNextJob;
    machine.start_client();
    machine.on_state("update_available", [&] { machine.say("apply"); });
    bool swept = false;
    at_call(machine.world, "MoveFileExW", L"staging.transaction", winsim::Moment::before,
            [&] { swept = !machine.world.disk.exists(old_folder); });
    machine.on_state("downloading", [&] { machine.say("cancel"); });
    EXPECT_EQ(machine.run_first().exit_code, 0);
    EXPECT_EQ(machine.run_copy().exit_code, 1);
    EXPECT_TRUE(swept);
}

TEST(Apply, a_sweep_that_fails_and_a_command_that_takes_too_much_memory_do_not_stop_it) {
    Job machine;
    machine.world.disk.make_folder(L"C:\\Game\\.vandrel-updater");
    Faults faults(machine.world);
    faults.add("FindFirstFileW", L".vandrel-updater", 5);
    machine.client_answers("apply");
    machine.world.gate.add_watcher([&](const winsim::Call& call, winsim::Moment) {
        if (call.name != "CreateFileW" || !call.subject.ends_with(L".command.json")) return;
        if (machine.was_told("downloading")) throw std::bad_alloc();
    });
    EXPECT_EQ(machine.update(), 0);
    EXPECT_TRUE(faults.happened());
    EXPECT_TRUE(machine.client_files() == release_two());
    std::wstring files;  // in the manifest's order
    const std::wstring base = L"/client-brd/updater.php?action=download&arch=64&release=2&file=";
    for (const winsim::Request& request : machine.world.network.requests()) {
        if (request.object.starts_with(base)) files += request.object.substr(base.size()) + L" ";
    }
    EXPECT_EQ(files, L"Vandrel%20Updater.exe data%2Fempty data%2Fnew%2Fdeep%2Ffile.bin init.lua modules%2Fgame.lua ");
}

// No command line gives a pid of 0, but a run works without a client's process.
// What a path that the copy opens is, by its name; anything that is none of these is hashed.
std::string purpose_of(const std::string& path) {
    if (path.find('.', path.find_last_of("\\/")) == std::string::npos) return "emptied folder";
    if (path.find(".command.json") != std::string::npos) return "command";
    if (path.find(".json.qmpart-") != std::string::npos) return "status";
    if (path.find(".transaction.qmpart-") != std::string::npos) return "record";
    return path.find(".qmpart-") != std::string::npos ? "part" : "digest";
}

TEST(Apply, each_file_is_opened_for_its_purpose_and_for_no_more) {
    Machine machine;
    machine.install(minimal_client());
    Files release = minimal_client();
    release["data/new.dat"] = "new";
    machine.publish(2, release);
    machine.client_answers("apply");
    machine.start_client();
    ASSERT_EQ(machine.run_first().exit_code, 0);
    machine.world.gate.keep_trace(true);
    ASSERT_EQ(machine.run_copy().exit_code, 0);
    std::map<std::string, std::set<std::string>> asked;
    for (const std::string& call : winsim::traced_calls(machine.world.gate, "CreateFileW")) {
        const std::size_t begin = call.find(" (access");
        asked[purpose_of(call.substr(0, begin))].insert(call.substr(begin + 2, call.rfind(')') - begin - 2));
    }
    const std::set<std::string> atomic{"access 0x40000000, share 0, disposition 1, flags 0x200080"};
    EXPECT_EQ(asked, (std::map<std::string, std::set<std::string>>{
                         {"command", {"access 0x80000000, share 7, disposition 3, flags 0x8200000"}},
                         {"status", atomic},
                         {"record", atomic},
                         {"part", {"access 0x40000000, share 0, disposition 1, flags 0x8200100"}},
                         {"digest", {"access 0x80000000, share 1, disposition 3, flags 0x8000000"}},
                         {"emptied folder", {"access 0x1, share 3, disposition 3, flags 0x2200000"}}}));
}

TEST(Apply, without_a_client_process_nothing_is_waited_for_and_the_client_is_started_whatever_happens) {
    for (const bool fails : {false, true}) {
        Job machine;
        machine.end_client();
        machine.client_pid = 0;
        machine.say("apply");
        vandrel::LaunchOptions options = machine.options();
        options.relocated = true;
        Faults faults(machine.world);
        if (fails) kSecondFails(machine, faults);
        const std::uint64_t start = machine.world.clock.tick_ms();
        const std::wstring words = refusal(machine.world, [&] { vandrel::run_update(options); });
        EXPECT_EQ(words, fails ? faults.text_before(L"Substituir arquivo com backup") : L"");
        EXPECT_EQ(machine.world.clock.tick_ms(), start);
        EXPECT_EQ(machine.client_starts(), Starts{fails ? kRecoveredStart : kPlainStart});
        EXPECT_TRUE(machine.client_files() == (fails ? minimal_client() : release_two()));
    }
}

}  // namespace
}  // namespace support
