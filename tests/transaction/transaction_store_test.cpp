#include "tests/transaction/transaction_test.h"

namespace support {
namespace {

const std::wstring kUpper = L"0123456789ABCDEF0123456789ABCDEF";
const std::wstring kInStore = std::wstring(kStore) + L"\\";
constexpr std::int64_t kDay = 864000000000;  // of 100 ns

Files changed() {
    Files files = minimal_client();
    files["init.lua"] = "-- start 2";
    return files;
}

// A staged transaction, begun exactly a day ago.
struct Old : Transaction {
    Old() : Transaction(minimal_client(), changed()) { age(kJob, kDay); }

    void age(const std::wstring& folder, std::int64_t ticks) {
        const auto now = static_cast<std::int64_t>(world.clock.file_time());
        world.disk.set_write_time(kInStore + folder + L"\\staging.transaction",
                                  static_cast<std::uint64_t>(now - ticks));
    }
    // Another folder with a record, of the same age.
    void put(const std::wstring& folder, const std::string& bytes) {
        world.disk.put(kInStore + folder + L"\\staging.transaction", bytes);
        age(folder, kDay);
    }
    std::string record_of(const std::wstring& job_id) const {
        return record.substr(0, 4) + narrow(job_id) + record.substr(36);
    }
    std::wstring sweep() {
        return refusal(world, [&] { vandrel::sweep_stale_transactions(options()); });
    }
};

using Arrangement = std::function<void(Old&)>;
Arrangement aged(std::int64_t ticks) {
    return [=](Old& old) { old.age(kJob, ticks); };
}
Arrangement after_event(const Event& event) {
    return [=](Old& old) { event(old, old.faults); };
}
Arrangement cut(const std::wstring& folder, const std::wstring& job_id, std::size_t missing_bytes = 0) {
    return [=](Old& old) {
        old.world.disk.erase(kFolder);
        const std::string bytes = old.record_of(job_id);
        old.put(folder, bytes.substr(0, bytes.size() - missing_bytes));
    };
}
void forge(Old& old) {
    old.record[50] ^= 1;
    old.put(kJob, old.record);
}
void link_store(Old& old) {
    redirect(old.world, kStore);
    old.world.disk.put(std::wstring(L"C:\\Real\\") + kJob + L"\\staging.transaction", old.record, 0);
}

struct Swept {
    const char* name;
    Arrangement arrange;
    bool goes;
    std::wstring folder = kJob;
    std::wstring refusal = {};
};

const std::vector<Swept> kSwept{
    {"24 hours", aged(kDay), true},
    {"a tick less", aged(kDay - 1), false},
    {"a date in the future", aged(-1), false},
    {"beside an active record", after_event(file(kInStore + L"active.transaction", "")), false},
    {"without a record", after_event(gone(kFolder + L"\\staging.transaction")), false},
    {"without a store", after_event(gone(kStore)), false, L"none"},
    {"a cut record", cut(kJob, kJob, 1), false},
    {"a record that isn't signed", forge, false},
    {"a policy that has changed", after_event(junction(L"C:\\Game\\data")), false},
    {"another job's record", cut(kJob, std::wstring(32, L'0')), false},
    {"an upper-case record in a lower-case folder", cut(kJob, kUpper), false},
    {"a lower-case record in an upper-case folder", cut(kUpper, kJob), true, kUpper},
    {"31 digits", cut(std::wstring(31, L'a'), std::wstring(32, L'a')), false, std::wstring(31, L'a')},
    {"a junction within", after_event(junction(kFolder + L"\\files\\deep")), false},
    {"a store that is a junction", link_store, false},
    {"a folder that can't go", after_event(failing("RemoveDirectoryW", L"files")), false},
    // The first question is whether it exists.
    {"a time that can't be told", after_event(failing("GetFileAttributesExW", L"staging.transaction", 5, 1, 1)), false,
     kJob, L"[last_write_time]"},
};

TEST(Sweep, a_folder_goes_on_proof_and_after_24_hours) {  // (7)
    for (const Swept& swept : kSwept) {
        SCOPED_TRACE(swept.name);
        Old old;
        swept.arrange(old);
        const bool stood = old.world.disk.exists(kInStore + swept.folder);
        EXPECT_EQ(old.sweep(), swept.refusal);
        EXPECT_EQ(stood && !old.world.disk.exists(kInStore + swept.folder), swept.goes);
        EXPECT_EQ(old.client_files()["init.lua"], "-- start 1");
    }
}

TEST(Sweep, the_first_256_entries_of_any_kind_are_looked_at) {
    const auto name = [](int i) {
        const std::wstring digits = std::to_wstring(i);
        return std::wstring(32 - digits.size(), L'0') + digits;
    };
    for (const int files : {0, 255, 256}) {
        Old old;
        old.world.disk.erase(kFolder);
        for (int i = 0; i < 300; ++i) {
            if (i < files) {
                old.world.disk.put(kInStore + name(i), "a plain file");
            } else {
                old.put(name(i), old.record_of(name(i)));
            }
        }
        old.faults.add("RemoveDirectoryW", name(100));  // a failure costs a folder its own turn
        EXPECT_EQ(old.sweep(), L"");
        for (int i = 0; i < 300; ++i) {
            EXPECT_EQ(old.world.disk.exists(kInStore + name(i)), i < files || i >= 256 || i == 100) << i;
        }
    }
}

TEST(Sweep, a_record_of_32_MiB_is_read_and_none_that_is_longer) {
    for (const std::uint64_t size : {33554432U, 33554433U}) {
        Old old;
        old.world.disk.lengthen(kFolder + L"\\staging.transaction", size - old.record.size());
        old.faults.add("ReadFile", L"staging.transaction");
        EXPECT_EQ(old.sweep(), L"");
        EXPECT_EQ(old.faults.happened(), size == 33554432);
    }
}

TEST(Discard, a_redirection_is_found_before_anything_is_deleted) {
    for (const bool itself : {false, true}) {
        Old old;
        redirect(old.world, itself ? kFolder : kFolder + L"\\z");
        old.world.disk.put(L"C:\\Real\\keep.txt", "kept");
        const std::uint64_t before = old.world.disk.fingerprint(L"C:\\");
        EXPECT_EQ(old.discard(),
                  itself ? L"Diretorio de transacao redirecionado." : L"Arquivo temporario redirecionado.");
        EXPECT_EQ(old.world.disk.fingerprint(L"C:\\"), before);
    }
}

TEST(Discard, the_folder_of_32_hexadecimal_digits_goes_whole_and_nothing_else) {
    for (const std::wstring& job : {kUpper.substr(1), kUpper + L"0", L"g" + kUpper.substr(1), std::wstring(L"..")}) {
        Old old;
        old.plan.job_id = job;
        EXPECT_EQ(old.discard(), kNoJob) << narrow(job);
    }
    Old old;
    old.plan.job_id = kUpper;
    old.world.disk.put(old.active_record(), "record");
    EXPECT_EQ(old.discard(), L"");
    EXPECT_EQ(old.discard(), L"");
    EXPECT_EQ(old.store(), std::vector<std::wstring>{L"active.transaction"});
}

}  // namespace
}  // namespace support
