#include <algorithm>
#include <functional>

#include "tests/launcher/launcher_test.h"

namespace support {
namespace {

const std::wstring kCancelled = L"Atualizacao cancelada.";
using Starts = std::vector<std::wstring>;

struct Broken {
    const char* name;
    std::function<void(Job&, Faults&)> arrange;  // when the copy is about to run
    Words detail;
    enum { old_files, new_files, half_way } files = old_files;
    std::vector<std::wstring> store;  // what is left in it; {"*"}: the active record among others
    Starts starts;                    // of the client
    bool handed_off = false;
    bool asked = true;  // for a file of the release
};

auto say_at(const char* state, const char* command) {
    return [state, command](Job& job, Faults&) { job.on_state(state, [&job, command] { job.say(command); }); };
}
const std::vector<std::wstring> kNothing;
const std::vector<std::wstring> kActive{L"*"};
const std::vector<std::wstring> kEmptyFolder{std::wstring(kJob) + L"\\", std::wstring(kJob) + L"\\files\\"};
const std::vector<std::wstring> kStaged{kEmptyFolder[0], kEmptyFolder[1], kEmptyFolder[0] + L"staging.transaction"};

const std::vector<Broken> kBroken{
    {"cancel before the first file",
     say_at("downloading", "cancel"),
     text(kCancelled),
     Broken::old_files,
     kNothing,
     {},
     false,
     false},
    {"cancel in a transfer",
     [](Job& job, Faults&) {
         job.tamper = [&job](const winsim::Request& request, winsim::Response&) {
             if (request.object.find(L"file.bin") != std::wstring::npos) job.say("cancel");
         };
     },
     text(kCancelled),
     Broken::old_files,
     kNothing,
     {}},
    {"cancel behind the last file",
     [](Job& job, Faults&) {
         at_call(job.world, "MoveFileExW", L"game.lua", winsim::Moment::after, [&] { job.say("cancel"); });
     },
     text(kCancelled),
     Broken::old_files,
     kNothing,
     {}},
    {"cancel while the client closes",
     say_at("handoff", "cancel"),
     text(kCancelled),
     Broken::old_files,
     kNothing,
     {},
     true},
    {"cancel when the client has closed",
     [](Job& job, Faults&) {
         job.on_state("handoff", [&job] {
             job.end_client();
             job.say("cancel");
         });
     },
     text(kCancelled),
     Broken::old_files,
     kNothing,
     {kRecoveredStart},
     true},
    {"the third of five files isn't served",
     [](Job& job, Faults&) {
         job.tamper = [](const winsim::Request& request, winsim::Response& response) {
             if (request.object.find(L"file.bin") != std::wstring::npos) response.status = 404;
         };
     },
     text(L"Servidor respondeu HTTP 404."),
     Broken::old_files,
     kNothing,
     {}},
    {"the same, and the client has ended by itself",
     [](Job& job, Faults&) {
         job.on_state("downloading", [&job] { job.end_client(); });
         job.tamper = [](const winsim::Request&, winsim::Response& response) {
             if (response.body == "helper 2") response.status = 404;
         };
     },
     text(L"Servidor respondeu HTTP 404."),
     Broken::old_files,
     kNothing,
     {}},
    {"the staging record can't be written",
     [](Job&, Faults& faults) { faults.add("CreateFileW", L"staging.transaction"); },
     after(L"Criar arquivo temporario"),
     Broken::old_files,
     kEmptyFolder,
     {},
     false,
     false},
    {"a failed discard is dropped",
     [](Job& job, Faults& faults) {
         say_at("downloading", "cancel")(job, faults);
         faults.add("RemoveDirectoryW", L"files");
     },
     text(kCancelled),
     Broken::old_files,
     kStaged,
     {},
     false,
     false},
    {"whether the record stands can't be told",
     [](Job& job, Faults& faults) {
         job.on_state("downloading", [&job, &faults] {
             job.say("cancel");
             faults.add("GetFileAttributesExW", L"active.transaction");
         });
     },
     text(L"Falha local no atualizador. Seus arquivos de recuperacao foram preservados."),
     Broken::old_files,
     kStaged,
     {},
     false,
     false},
    {"a client of the folder still runs at the install",
     [](Job& job, Faults&) { job.world.processes.start(L"C:\\Game\\brindler_gl_x64.exe"); },
     text(L"Outro cliente desta pasta esta aberto. Feche-o e tente novamente."),
     Broken::old_files,
     kNothing,
     {kRecoveredStart},
     true},
    {"the install fails after its first replacement",
     [](Job&, Faults& faults) { faults.add("ReplaceFileW", L"Game\\init.lua"); },
     before(L"Substituir arquivo com backup"),
     Broken::old_files,
     kNothing,
     {kRecoveredStart},
     true},
    {"the roll-back fails, too",
     [](Job&, Faults& faults) {
         faults.add("ReplaceFileW", L"Game\\init.lua");
         faults.add("MoveFileExW", L"Game\\Vandrel Updater.exe");
     },
     before(L"Restaurar arquivo anterior"),
     Broken::half_way,
     kActive,
     {},
     true},
    {"a client appears before the roll-back",
     [](Job& job, Faults& faults) {
         faults.add("ReplaceFileW", L"Game\\init.lua");
         at_call(job.world, "ReplaceFileW", L"Game\\init.lua", winsim::Moment::before,
                 [&] { job.world.processes.start(L"C:\\Game\\brindler_gl_x64.exe"); });
     },
     text(L"Outro cliente desta pasta esta aberto. Feche-o e tente novamente."),
     Broken::half_way,
     kActive,
     {},
     true},
    {"the last status can't be written",
     [](Job& job, Faults& faults) {
         at_call(job.world, "DeleteFileW", L"active.transaction", winsim::Moment::after,
                 [&] { faults.add("CreateFileW", L".status.json"); });
     },
     after(L"Criar arquivo temporario"),
     Broken::new_files,
     kNothing,
     {kRecoveredStart},
     true},
    {"the client can't be started",
     [](Job&, Faults& faults) { faults.add("CreateProcessW", L"brindler_dx"); },
     before(L"Iniciar processo"),
     Broken::new_files,
     kNothing,
     {kRecoveredStart},
     true},
    {"the client can't be started twice",
     [](Job&, Faults& faults) { faults.add("CreateProcessW", L"brindler_dx", 5, 2); },
     before(L"Iniciar processo", 1),
     Broken::new_files,
     kNothing,
     {},
     true},
};

TEST(Apply, whatever_fails_is_taken_back_or_discarded_and_a_closed_client_started_again) {
    for (const Broken& broken : kBroken) {
        SCOPED_TRACE(broken.name);
        Job machine;
        ASSERT_EQ((machine.say("apply"), machine.run_first().exit_code), 0);
        Faults faults(machine.world);
        broken.arrange(machine, faults);
        machine.on_state("handoff", [&] { machine.world.clock.after(500, [&] { machine.end_client(); }); });
        EXPECT_EQ(machine.run_copy().exit_code, 1);
        EXPECT_EQ(machine.status().state, broken.detail(faults) == kCancelled ? "cancelled" : "error");
        EXPECT_EQ(machine.status().progress, 0);
        EXPECT_EQ(machine.detail(), broken.detail(faults));
        EXPECT_EQ(machine.client_starts(), broken.starts);
        EXPECT_EQ(machine.downloads_requested(), broken.asked);
        EXPECT_EQ(machine.world.disk.exists(machine.active_record()), broken.store == kActive);
        if (broken.store != kActive) {
            EXPECT_EQ(machine.store(), broken.store);
        }
        if (broken.files != Broken::half_way) {
            EXPECT_TRUE(machine.client_files() ==
                        (broken.files == Broken::new_files ? release_two() : minimal_client()));
        }
        const std::vector<std::string> states = machine.states();
        EXPECT_EQ(std::ranges::find(states, "handoff") != states.end(), broken.handed_off);
    }
}

}  // namespace
}  // namespace support
