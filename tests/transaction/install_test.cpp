#include "tests/transaction/transaction_test.h"

namespace support {
namespace {

const std::wstring kReplaced = L"C:\\Game\\data\\things.dat";  // the first of the plan
const std::wstring kNew = L"C:\\Game\\layouts\\deep\\new.ui";  // the second
const std::wstring kBackup = kFolder + L"\\backup\\data\\things.dat";
const std::wstring kStagedOne = kFolder + L"\\files\\data\\things.dat";
const std::wstring kStagedTwo = kFolder + L"\\files\\layouts\\deep\\new.ui";
const std::wstring kRedirected = L"Diretorio com redirecionamento recusado.";

Files release_two() {
    Files files = minimal_client();
    files["data/things.dat"] = "things 2";
    files["layouts/deep/new.ui"] = "new 2";
    return files;
}

struct Install : Transaction {
    Install() : Transaction(minimal_client(), release_two()) {}
};

TEST(Install, hears_no_command_writes_no_status_and_leaves_nothing_but_the_new_files) {
    Install install;
    install.say("cancel");
    install.world.gate.keep_trace(true);
    EXPECT_EQ(install.install_it(), L"");
    for (const std::string& line : install.world.gate.trace()) EXPECT_EQ(line.find(".json"), std::string::npos) << line;
    EXPECT_EQ(install.client_files(), release_two());
    EXPECT_EQ(install.store(), std::vector<std::wstring>{});
    EXPECT_EQ(install.world.disk.open_handles() + install.world.processes.open_handles(), 0U);
}

// What a power cut behind each rename leaves at the least: whether the record is whole, and both files and the backup.
TEST(Install, the_record_and_each_file_are_durable_when_their_rename_returns) {  // (1), (2)
    Install install;
    std::vector<std::string> seen;
    install.world.gate.add_watcher([&](const winsim::Call& call, winsim::Moment moment) {
        if (moment != winsim::Moment::after || (call.name != "MoveFileExW" && call.name != "ReplaceFileW")) return;
        Transaction cut({}, {});
        cut.world.disk.restore(install.world.disk.snapshot_after(install.world.disk.all_lost()));
        const std::string record = cut.at(install.active_record()) == install.record ? "record" : "none";
        seen.push_back(record + ", " + cut.at(kReplaced) + ", " + cut.at(kNew) + ", " + cut.at(kBackup));
    });
    install.faults.add("DeleteFileW", L"active.transaction");
    EXPECT_NE(install.install_it(), L"");
    EXPECT_EQ(install.roll_back(), L"");
    EXPECT_EQ(seen, (std::vector<std::string>{"record, things 1, , ", "record, things 2, , things 1",
                                              "record, things 2, new 2, things 1", "record, things 1, , "}));
}

struct Check {
    const char* slot;  // faults of one slot exclude each other
    std::wstring message;
    Event event;
};

// In the order in which they are found.
const std::vector<Check> kChecks{
    {"job", kNoJob, [](Machine& machine, Faults&) { static_cast<Install&>(machine).plan.job_id = L"..\\x"; }},
    {"client", kBusy, runs(L"C:\\Game\\BRINDLER_gl_x64.exe")},
    {"target 1", kEscapes, both(file(L"C:\\Real\\things.dat", "things 1"), junction(L"C:\\Game\\data"))},
    {"target 1", kIrregular, folder(kReplaced)},
    {"staged 1", kIrregular, folder(kStagedOne)},
    {"staged 1", L"Arquivo preparado nao confere antes da instalacao.", file(kStagedOne, "things 3")},
    {"target 1", L"Cliente mudou durante o download; nenhuma alteracao aplicada.", file(kReplaced, "Things 1")},
    {"target 2", kIrregular, folder(kNew)},
    {"staged 2", L"Arquivo preparado nao confere antes da instalacao.", gone(kStagedTwo)},
    {"target 2", L"Cliente mudou durante o download; nenhuma alteracao aplicada.", file(kNew, "new 2")},
};

TEST(Install, of_two_faults_the_earlier_check_stops_it_before_anything_changes) {
    for (std::size_t i = 0; i < kChecks.size(); ++i) {
        for (std::size_t j = i; j < kChecks.size(); ++j) {
            if (j != i && std::string(kChecks[i].slot) == kChecks[j].slot) continue;
            Install install;
            both(kChecks[i].event, j == i ? Event(nothing) : kChecks[j].event)(install, install.faults);
            const std::uint64_t before = install.world.disk.fingerprint(L"C:\\");
            EXPECT_EQ(install.install_it(), kChecks[i].message) << kChecks[j].slot;
            EXPECT_EQ(install.world.disk.fingerprint(L"C:\\"), before);
        }
    }
}

struct BrokenInstall {
    const char* name;
    Event event;
    Words message;
    std::string replaced;  // what stands there afterwards; empty: nothing
    std::string new_file;
    bool record_stands = true;
};

Event published(Event event) {
    return behind("MoveFileExW", L"active.transaction", std::move(event));
}
Event first_replaced(Event event) {
    return behind("ReplaceFileW", L"", std::move(event));
}
const std::wstring kUnproved = L"Verificacao final do arquivo instalado falhou.";

const std::vector<BrokenInstall> kBrokenInstalls{
    {"a record that can't be published", failing("CreateFileW", L"active.transaction"),
     after(L"Criar arquivo temporario"), "things 1", "", false},
    {"a folder that can't be made", failing("CreateDirectoryW", L"layouts"), text(L"[create_directories]"), "things 2",
     ""},
    {"the same, and a redirected backup folder",
     both(failing("CreateDirectoryW", L"Game\\layouts"), first_replaced(junction(kFolder + L"\\backup"))),
     text(L"[create_directories]"), "things 2", ""},
    {"a redirected backup folder", junction(kFolder + L"\\backup"), text(kRedirected), "things 1", ""},
    {"the same, and a folder at the target's place",
     both(junction(kFolder + L"\\backup"), published(folder(kReplaced))), text(kRedirected), "", ""},
    {"a target's folder that is redirected at last", published(junction(L"C:\\Game\\data")), text(kRedirected), "", ""},
    {"a target that turns into a folder", published(folder(kReplaced)), text(kIrregular), "", ""},
    {"a folder at the backup's place", folder(kBackup), text(kIrregular), "things 1", ""},
    {"a replacement that fails", failing("ReplaceFileW", L"things.dat"), before(L"Substituir arquivo com backup"),
     "things 1", ""},
    {"a new file that can't be moved", failing("MoveFileExW", L"new.ui"), before(L"Instalar arquivo novo"), "things 2",
     ""},
    {"a file at the new one's place", first_replaced(file(kNew, "mine")), after(L"Instalar arquivo novo", 2),
     "things 2", "mine"},
    {"a bit that flips behind the replacement", first_replaced(file(kReplaced, "things 3")), text(kUnproved),
     "things 3", "new 2"},
    {"a file that goes behind the replacement", first_replaced(gone(kReplaced)), text(kUnproved), "", "new 2"},
    {"a record that can't be deleted", failing("DeleteFileW", L"active.transaction"),
     before(L"Remover arquivo gerenciado"), "things 2", "new 2"},
    {"a folder at the record's place", first_replaced(folder(std::wstring(kStore) + L"\\active.transaction")),
     text(kIrregular), "things 2", "new 2", false},
    {"a folder that stays behind the commit", failing("RemoveDirectoryW", kJob), text(L""), "things 2", "new 2", false},
};

TEST(Install, a_failure_leaves_what_the_roll_back_needs) {
    for (const BrokenInstall& broken : kBrokenInstalls) {
        SCOPED_TRACE(broken.name);
        Install install;
        broken.event(install, install.faults);
        const std::wstring message = install.install_it();
        EXPECT_EQ(message, broken.message(install.faults));
        EXPECT_EQ(install.at(install.active_record()), broken.record_stands ? install.record : "");
        EXPECT_EQ(install.at(kReplaced), broken.replaced);
        EXPECT_EQ(install.at(kNew), broken.new_file);
    }
}

}  // namespace
}  // namespace support
