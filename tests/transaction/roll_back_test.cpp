#include <functional>

#include "tests/transaction/transaction_test.h"

namespace support {
namespace {

const std::string kFile = "init.lua";
const std::wstring kNoBackup = L"Arquivo anterior sem backup valido.";
const std::wstring kBadBackup = L"Backup de recuperacao nao confere.";
const std::wstring kEdited = L"Arquivo alterado externamente; recuperacao interrompida.";
const std::wstring kEditedNew = L"Arquivo novo alterado externamente; recuperacao interrompida.";

// What may stand at a place. All contents have one size: the digest decides.
enum Content { kAbsent, kPrior, kRelease, kOther };
const char* const kContents[] = {"", "-- start 1", "-- start 2", "-- mine   "};

Files release_two() {
    Files files = minimal_client();
    files[kFile] = kContents[kRelease];
    return files;
}

// One file under an active record, with the given contents.
struct Interrupted : Transaction {
    Interrupted(bool existed, Content backup_content, Content target_content)
        : Transaction(existed ? minimal_client() : without_file(), release_two()) {
        put(backup(kFile), backup_content);
        put(target(kFile), target_content);
        world.disk.put(active_record(), record);
    }
    static Files without_file() {
        Files files = minimal_client();
        files.erase(kFile);
        return files;
    }
    void put(const std::wstring& path, Content content) {
        world.disk.erase(path);
        if (content != kAbsent) world.disk.put(path, kContents[content]);
    }
    std::string target_text() const {
        return world.disk.exists(target(kFile)) ? world.disk.read(target(kFile)) : std::string();
    }
};

struct Row {
    bool existed;
    Content backup;
    Content target;
    std::wstring refusal;  // empty: back to the old state
};

TEST(RollBack, each_state_of_a_file_leads_to_its_action_and_a_second_run_changes_nothing) {  // (5), (6)
    const std::vector<Row> rows{
        // existed, backup, target
        {true, kAbsent, kPrior, L""},         {true, kAbsent, kRelease, kNoBackup},
        {true, kAbsent, kOther, kNoBackup},   {true, kAbsent, kAbsent, kNoBackup},
        {true, kPrior, kRelease, L""},        {true, kPrior, kPrior, L""},
        {true, kPrior, kAbsent, L""},         {true, kPrior, kOther, kEdited},
        {true, kOther, kRelease, kBadBackup}, {true, kOther, kPrior, kBadBackup},
        {true, kOther, kAbsent, kBadBackup},  {true, kOther, kOther, kBadBackup},
        {true, kRelease, kPrior, kBadBackup}, {false, kAbsent, kAbsent, L""},
        {false, kAbsent, kRelease, L""},      {false, kAbsent, kOther, kEditedNew},
        {false, kOther, kRelease, L""},  // a new file has no backup: what stands there isn't asked
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << row.existed << " " << row.backup << " " << row.target);
        Interrupted machine(row.existed, row.backup, row.target);
        if (!row.refusal.empty()) {
            const std::uint64_t before = machine.world.disk.fingerprint(kRoot);
            EXPECT_EQ(machine.roll_back(), row.refusal);
            EXPECT_EQ(machine.roll_back(), row.refusal);
            EXPECT_EQ(machine.world.disk.fingerprint(kRoot), before);
            continue;
        }
        EXPECT_EQ(machine.roll_back(), L"");
        EXPECT_EQ(machine.target_text(), row.existed ? kContents[kPrior] : "");
        EXPECT_EQ(machine.store(), std::vector<std::wstring>{});
        const std::uint64_t before = machine.world.disk.fingerprint(kRoot);
        EXPECT_EQ(machine.roll_back(), L"");
        EXPECT_EQ(machine.world.disk.fingerprint(kRoot), before);
    }
}

TEST(RollBack, a_restored_file_is_durable_when_its_rename_returns) {  // (3)
    Interrupted machine(true, kPrior, kRelease);
    winsim::Disk left;
    at_call(machine.world, "MoveFileExW", L"init.lua", winsim::Moment::after,
            [&] { left.restore(machine.world.disk.snapshot_after(machine.world.disk.all_lost())); });
    EXPECT_EQ(machine.roll_back(), L"");
    EXPECT_EQ(left.read(machine.target(kFile)), kContents[kPrior]);
}

TEST(RollBack, behind_a_bad_backup_the_target_is_not_looked_at) {
    Interrupted machine(true, kOther, kRelease);
    machine.faults.add("GetFileAttributesExW", L"Game\\init.lua", 5, 100);
    EXPECT_EQ(machine.roll_back(), kBadBackup);
    EXPECT_FALSE(machine.faults.happened());
}

TEST(RollBack, a_file_that_cannot_be_read_does_not_match) {
    Interrupted machine(true, kPrior, kRelease);
    machine.faults.add("CreateFileW", L"backup\\init.lua", 32);
    EXPECT_EQ(machine.roll_back(), kBadBackup);
    EXPECT_EQ(machine.roll_back(), L"");
}

struct Broken {
    const char* name;
    bool existed;
    std::function<void(Interrupted&)> arrange;
    Words message;
    bool restored;
    bool record_stands;
};

TEST(RollBack, what_fails_is_told_and_the_next_run_goes_on_from_there) {
    const std::vector<Broken> cases{
        {"the restoring rename", true, [](Interrupted& it) { it.faults.add("MoveFileExW", L"init.lua"); },
         before(L"Restaurar arquivo anterior"), false, true},
        {"the new file's removal", false, [](Interrupted& it) { it.faults.add("DeleteFileW", L"init.lua"); },
         before(L"Remover arquivo gerenciado"), false, true},
        {"the record's removal", true, [](Interrupted& it) { it.faults.add("DeleteFileW", L"active.transaction"); },
         before(L"Remover arquivo gerenciado"), true, true},
        {"the folder's removal, which nothing guards", true,
         [](Interrupted& it) { it.faults.add("RemoveDirectoryW", kJob); }, text(L"[remove_all]"), true, false},
        {"a status query", true, [](Interrupted& it) { it.faults.add("GetFileAttributesExW", L"backup\\init.lua", 5); },
         text(L"[exists]"), false, true},
    };
    for (const Broken& broken : cases) {
        SCOPED_TRACE(broken.name);
        Interrupted machine(broken.existed, broken.existed ? kPrior : kAbsent, kRelease);
        broken.arrange(machine);
        const std::wstring message = machine.roll_back();
        const std::string old_text = broken.existed ? kContents[kPrior] : "";
        EXPECT_EQ(message, broken.message(machine.faults));
        EXPECT_EQ(message.find(std::to_wstring(kDistinct)), std::wstring::npos);
        EXPECT_EQ(machine.target_text(), broken.restored ? old_text : kContents[kRelease]);
        EXPECT_EQ(machine.active(), broken.record_stands);
        EXPECT_EQ(machine.roll_back(), L"");
        EXPECT_EQ(machine.target_text(), old_text);
        EXPECT_EQ(machine.store(), std::vector<std::wstring>{});
    }
}

TEST(RollBack, a_record_reaches_nothing_outside_the_folder_and_nothing_but_files) {  // (8)
    const std::wstring irregular = L"Destino de download existente nao e um arquivo regular.";
    for (const bool at_backup : {false, true}) {
        Interrupted machine(true, kPrior, kRelease);
        const std::wstring path = at_backup ? machine.backup(kFile) : machine.target(kFile);
        machine.world.disk.erase(path);
        machine.world.disk.make_folder(path);
        EXPECT_EQ(machine.roll_back(), irregular);
    }
    Interrupted redirected(true, kPrior, kRelease);
    redirected.world.disk.erase(redirected.transaction_folder() + L"\\backup");
    redirected.world.disk.put(L"C:\\Real\\init.lua", kContents[kPrior]);
    redirected.world.disk.make_junction(redirected.transaction_folder() + L"\\backup", L"C:\\Real");
    EXPECT_EQ(redirected.roll_back(), L"Destino de download escapa da pasta permitida ou contem redirecionamento.");
    EXPECT_EQ(redirected.world.disk.read(L"C:\\Real\\init.lua"), kContents[kPrior]);
    Interrupted nameless(true, kPrior, kRelease);
    nameless.plan.job_id = L"..";
    EXPECT_EQ(nameless.roll_back(), L"Identificador de transacao invalido.");
    EXPECT_EQ(nameless.target_text(), kContents[kRelease]);
}

TEST(RollBack, a_refusal_stops_the_walk_with_later_files_old_and_earlier_ones_new) {
    Files old_files = minimal_client();
    Files new_files = minimal_client();
    for (const char* path : {"data/a", "data/b", "data/c"}) {
        old_files[path] = "old";
        new_files[path] = "new";
    }
    Transaction transaction(old_files, new_files);
    transaction.faults.add("DeleteFileW", L"active.transaction");
    ASSERT_NE(transaction.install_it(), L"");
    transaction.world.disk.put(transaction.target("data/b"), "own");
    EXPECT_EQ(transaction.roll_back(), kEdited);
    Files files = transaction.client_files();
    EXPECT_EQ(files["data/a"] + files["data/b"] + files["data/c"], "newownold");
    EXPECT_EQ(transaction.world.disk.read(transaction.backup("data/b")), "old");
    EXPECT_EQ(transaction.world.disk.read(transaction.active_record()), transaction.record);
    transaction.world.disk.erase(transaction.target("data/b"));  // somebody puts it into an expected state
    EXPECT_EQ(transaction.roll_back(), L"");
    EXPECT_EQ(transaction.client_files(), old_files);
}

TEST(RollBack, folders_made_for_new_files_stay_and_a_plan_without_files_just_ends) {
    Files new_files = minimal_client();
    new_files["layouts/deep/new.ui"] = "new";
    Transaction transaction(minimal_client(), new_files);
    transaction.faults.add("DeleteFileW", L"active.transaction");
    ASSERT_NE(transaction.install_it(), L"");
    EXPECT_EQ(transaction.roll_back(), L"");
    EXPECT_EQ(transaction.client_files(), minimal_client());
    EXPECT_TRUE(transaction.world.disk.is_folder(L"C:\\Game\\layouts\\deep"));

    Transaction empty(minimal_client(), minimal_client());
    empty.world.disk.put(empty.active_record(), empty.record);
    EXPECT_EQ(empty.roll_back(), L"");
    EXPECT_EQ(empty.store(), std::vector<std::wstring>{});
}

}  // namespace
}  // namespace support
