#include "tests/transaction/transaction_test.h"

namespace support {
namespace {

const std::wstring kTarget = L"C:\\Game\\init.lua";
const std::wstring kStartBackup = kFolder + L"\\backup\\init.lua";
const std::wstring kNoBackup = L"Arquivo anterior sem backup valido.";
const std::wstring kBadBackup = L"Backup de recuperacao nao confere.";
const std::wstring kEdited = L"Arquivo alterado externamente; recuperacao interrompida.";
const std::wstring kEditedNew = L"Arquivo novo alterado externamente; recuperacao interrompida.";

// What may stand at a place. All contents have one size: the digest decides.
enum Content { kAbsent, kPrior, kRelease, kOther };
const char* const kContents[] = {"", "-- start 1", "-- start 2", "-- mine   "};

Files with_script(const char* content) {
    Files files = minimal_client();
    files["init.lua"] = content;
    if (*content == '\0') files.erase("init.lua");
    return files;
}

// One file under an active record, with the given contents.
struct Interrupted : Transaction {
    Interrupted(bool existed, Content backup, Content target)
        : Transaction(with_script(kContents[existed ? kPrior : kAbsent]), with_script(kContents[kRelease])) {
        put(kStartBackup, backup);
        put(kTarget, target);
        world.disk.put(active_record(), record);
    }
    void put(const std::wstring& path, Content content) {
        world.disk.erase(path);
        if (content != kAbsent) world.disk.put(path, kContents[content]);
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
        std::uint64_t before = machine.world.disk.fingerprint(kRoot);
        EXPECT_EQ(machine.roll_back(), row.refusal);
        if (row.refusal.empty()) {
            EXPECT_EQ(machine.at(kTarget), row.existed ? kContents[kPrior] : "");
            EXPECT_EQ(machine.store(), std::vector<std::wstring>{});
            before = machine.world.disk.fingerprint(kRoot);
        }
        EXPECT_EQ(machine.roll_back(), row.refusal);
        EXPECT_EQ(machine.world.disk.fingerprint(kRoot), before);
    }
}

struct BrokenRollBack {
    const char* name;
    Event event;
    Words message;
    bool existed = true;
    bool restored = false;
    bool record_stands = true;
};

const std::vector<BrokenRollBack> kBrokenRollBacks{
    {"the restoring rename", failing("MoveFileExW", L"init.lua"), before(L"Restaurar arquivo anterior")},
    {"the new file's removal", failing("DeleteFileW", L"init.lua"), before(L"Remover arquivo gerenciado"), false},
    {"the record's removal", failing("DeleteFileW", L"active.transaction"), before(L"Remover arquivo gerenciado"), true,
     true},
    {"the folder's removal, which nothing guards", failing("RemoveDirectoryW", kJob), text(L"[remove_all]"), true, true,
     false},
    {"a status query", failing("GetFileAttributesExW", L"backup\\init.lua", 5), text(L"[exists]")},
    {"a backup that can't be read", failing("CreateFileW", L"backup\\init.lua", 32), text(kBadBackup)},
};

TEST(RollBack, what_fails_is_told_and_the_next_run_goes_on_from_there) {
    for (const BrokenRollBack& broken : kBrokenRollBacks) {
        SCOPED_TRACE(broken.name);
        Interrupted machine(broken.existed, broken.existed ? kPrior : kAbsent, kRelease);
        broken.event(machine, machine.faults);
        const std::string old_text = broken.existed ? kContents[kPrior] : "";
        const std::wstring message = machine.roll_back();
        EXPECT_EQ(message, broken.message(machine.faults));
        EXPECT_EQ(machine.at(kTarget), broken.restored ? old_text : kContents[kRelease]);
        EXPECT_EQ(machine.at(machine.active_record()), broken.record_stands ? machine.record : "");
        EXPECT_EQ(machine.roll_back(), L"");
        EXPECT_EQ(machine.at(kTarget), old_text);
        EXPECT_EQ(machine.store(), std::vector<std::wstring>{});
    }
}

struct Refused {
    Event event;
    std::wstring message;
};

TEST(RollBack, reaches_nothing_outside_the_folder_and_nothing_but_files) {  // (8)
    const Event linked_backups = both(junction(kFolder + L"\\backup"), file(L"C:\\Real\\init.lua", kContents[kPrior]));
    const std::vector<Refused> rows{
        {folder(kTarget), kIrregular},
        {folder(kStartBackup), kIrregular},
        {linked_backups, kEscapes},
        {both(folder(kTarget), linked_backups), kIrregular},
        {[](Machine& machine, Faults&) { static_cast<Interrupted&>(machine).plan.job_id = L".."; }, kNoJob},
    };
    for (const Refused& row : rows) {
        Interrupted machine(true, kPrior, kRelease);
        row.event(machine, machine.faults);
        const std::uint64_t before = machine.world.disk.fingerprint(L"C:\\");
        EXPECT_EQ(machine.roll_back(), row.message);
        EXPECT_EQ(machine.world.disk.fingerprint(L"C:\\"), before);
    }
}

TEST(RollBack, goes_from_the_last_file_to_the_first_and_stops_at_one_that_is_nobodys) {
    Files old_files = minimal_client();
    Files new_files = minimal_client();
    for (const char* path : {"data/a", "data/b", "data/c"}) {
        old_files[path] = "old";
        new_files[path] = "new";
    }
    new_files["layouts/deep/new.ui"] = "new";
    Transaction transaction(old_files, new_files);
    transaction.faults.add("DeleteFileW", L"active.transaction");
    ASSERT_NE(transaction.install_it(), L"");
    transaction.world.disk.put(L"C:\\Game\\data\\b", "own");
    EXPECT_EQ(transaction.roll_back(), kEdited);
    Files files = transaction.client_files();
    EXPECT_EQ(files["data/a"] + files["data/b"] + files["data/c"], "newownold");
    EXPECT_EQ(transaction.at(kFolder + L"\\backup\\data\\b"), "old");
    EXPECT_EQ(transaction.at(transaction.active_record()), transaction.record);
    transaction.world.disk.erase(L"C:\\Game\\data\\b");  // somebody puts it into an expected state
    EXPECT_EQ(transaction.roll_back(), L"");
    EXPECT_EQ(transaction.client_files(), old_files);
    EXPECT_TRUE(transaction.world.disk.is_folder(L"C:\\Game\\layouts\\deep"));  // made for a new file, it stays
}

}  // namespace
}  // namespace support
