#include <functional>

#include "tests/transaction/transaction_test.h"

namespace support {
namespace {

const std::wstring kStore = L"C:\\Game\\.vandrel-updater";
const std::wstring kUpper = L"0123456789ABCDEF0123456789ABCDEF";

Files changed() {
    Files files = minimal_client();
    files["init.lua"] = "-- start 2";
    return files;
}

// A staged transaction, begun exactly a day ago.
struct Old : Transaction {
    Old() : Transaction(minimal_client(), changed()) { age(transaction_folder(), kDay); }
    static constexpr auto kDay = std::int64_t{864000000000};

    void age(const std::wstring& folder, std::int64_t ticks) {
        const auto now = static_cast<std::int64_t>(world.clock.file_time());
        world.disk.set_write_time(folder + L"\\staging.transaction", static_cast<std::uint64_t>(now - ticks));
    }
    // Another folder with a record, of the same age.
    void put(const std::wstring& name, const std::string& bytes) {
        world.disk.put(kStore + L"\\" + name + L"\\staging.transaction", bytes);
        age(kStore + L"\\" + name, kDay);
    }
    std::string record_of(const std::wstring& job_id) const {
        return record.substr(0, 4) + narrow(job_id) + record.substr(36);
    }
    std::wstring sweep() {
        return refusal(world, [&] { vandrel::sweep_stale_transactions(options()); });
    }
};

struct Swept {
    const char* name;
    std::function<void(Old&)> arrange;
    bool goes;
    std::wstring folder = kJob;
};

TEST(Sweep, a_folder_goes_on_proof_and_after_24_hours) {  // (7)
    const auto aged = [](std::int64_t ticks) {
        return [ticks](Old& old) { old.age(old.transaction_folder(), ticks); };
    };
    const auto record = [](std::function<std::string(const Old&)> bytes) {
        return [bytes](Old& old) { old.put(kJob, bytes(old)); };
    };
    const std::vector<Swept> cases{
        {"24 hours", [](Old&) {}, true},
        {"a tick less", aged(Old::kDay - 1), false},
        {"a date in the future", aged(-1), false},
        {"beside an active record", [](Old& old) { old.world.disk.put(old.active_record(), ""); }, false},
        {"without a record",
         [](Old& old) { old.world.disk.erase(old.transaction_folder() + L"\\staging.transaction"); }, false},
        {"a cut record", record([](const Old& old) { return old.record.substr(0, old.record.size() - 1); }), false},
        {"a record that isn't signed", record([](const Old& old) {
             std::string bytes = old.record;
             bytes[50] ^= 1;
             return bytes;
         }),
         false},
        {"a policy that has changed", [](Old& old) { redirect(old.world, L"C:\\Game\\data"); }, false},
        {"another job's record", record([](const Old& old) { return old.record_of(std::wstring(32, L'0')); }), false},
        {"an upper-case record in a lower-case folder", record([](const Old& old) { return old.record_of(kUpper); }),
         false},
        {"31 digits",
         [](Old& old) {
             old.world.disk.erase(old.transaction_folder());
             old.put(std::wstring(31, L'a'), old.record_of(std::wstring(32, L'a')));
         },
         false, std::wstring(31, L'a')},
        {"a junction within", [](Old& old) { redirect(old.world, old.transaction_folder() + L"\\files\\deep"); },
         false},
        {"a store that is a junction",
         [](Old& old) {
             redirect(old.world, kStore);
             old.world.disk.put(L"C:\\Real\\" + std::wstring(kJob) + L"\\staging.transaction", old.record, 0);
         },
         false},
    };
    for (const Swept& swept : cases) {
        SCOPED_TRACE(swept.name);
        Old old;
        swept.arrange(old);
        const std::uint64_t before = old.world.disk.fingerprint(kStore);
        EXPECT_EQ(old.sweep(), L"");
        EXPECT_EQ(!old.world.disk.exists(kStore + L"\\" + swept.folder), swept.goes);
        EXPECT_EQ(old.world.disk.fingerprint(kStore) == before, !swept.goes);
        EXPECT_TRUE(old.client_files()["init.lua"] == "-- start 1");
    }
}

TEST(Sweep, an_upper_case_folder_with_a_lower_case_record_is_its_own) {
    Old old;
    old.world.disk.erase(old.transaction_folder());
    old.put(kUpper, old.record);
    EXPECT_EQ(old.sweep(), L"");
    EXPECT_EQ(old.store(), std::vector<std::wstring>{});
}

TEST(Sweep, the_first_256_entries_of_any_kind_are_looked_at) {
    const auto name = [](int i) {
        const std::wstring digits = std::to_wstring(i);
        return std::wstring(32 - digits.size(), L'0') + digits;
    };
    for (const int files : {0, 255, 256}) {
        Old old;
        old.world.disk.erase(old.transaction_folder());
        for (int i = 0; i < 300; ++i) {
            if (i < files) {
                old.world.disk.put(kStore + L"\\" + name(i), "a plain file");
            } else {
                old.put(name(i), old.record_of(name(i)));
            }
        }
        EXPECT_EQ(old.sweep(), L"");
        for (int i = 0; i < 300; ++i) {
            EXPECT_EQ(old.world.disk.exists(kStore + L"\\" + name(i)), i < files || i >= 256) << i;
        }
    }
}

TEST(Sweep, a_folder_that_fails_costs_its_own_turn_and_a_time_that_fails_ends_the_sweep) {
    Old old;
    old.put(std::wstring(32, L'f'), old.record_of(std::wstring(32, L'f')));
    old.faults.add("RemoveDirectoryW", kJob);
    EXPECT_EQ(old.sweep(), L"");
    EXPECT_TRUE(old.world.disk.exists(old.transaction_folder()));
    EXPECT_FALSE(old.world.disk.exists(kStore + L"\\" + std::wstring(32, L'f')));

    Old timeless;
    timeless.faults.add("GetFileAttributesExW", L"staging.transaction", 5, 1, 1);  // the first asks whether it exists
    EXPECT_EQ(timeless.sweep(), L"[last_write_time]");
    EXPECT_TRUE(timeless.world.disk.exists(timeless.transaction_folder()));
}

TEST(Sweep, nothing_is_made_where_there_is_no_store) {
    Machine machine;
    machine.install(minimal_client());
    EXPECT_EQ(refusal(machine.world, [&] { vandrel::sweep_stale_transactions(machine.options()); }), L"");
    EXPECT_FALSE(machine.store_exists());
}

TEST(Discard, the_folder_goes_whole_and_the_active_record_stays) {
    Old old;
    old.world.disk.put(old.active_record(), "record");
    EXPECT_EQ(old.discard(), L"");
    EXPECT_EQ(old.store(), std::vector<std::wstring>{L"active.transaction"});
    EXPECT_EQ(old.discard(), L"");
}

TEST(Discard, a_redirection_is_found_before_anything_is_deleted) {
    Old inside;
    redirect(inside.world, inside.transaction_folder() + L"\\z");
    const std::uint64_t before = inside.world.disk.fingerprint(kStore);
    inside.world.disk.put(L"C:\\Real\\keep.txt", "kept");
    EXPECT_EQ(inside.discard(), L"Arquivo temporario redirecionado.");
    EXPECT_EQ(inside.world.disk.fingerprint(kStore), before);
    EXPECT_EQ(inside.world.disk.read(L"C:\\Real\\keep.txt"), "kept");

    Old itself;
    redirect(itself.world, itself.transaction_folder());
    itself.world.disk.put(L"C:\\Real\\keep.txt", "kept");
    EXPECT_EQ(itself.discard(), L"Diretorio de transacao redirecionado.");
    EXPECT_EQ(itself.world.disk.read(L"C:\\Real\\keep.txt"), "kept");
}

TEST(Discard, a_folder_is_named_by_32_hexadecimal_digits_of_either_case) {
    for (const std::wstring& job : {kUpper.substr(1), kUpper + L"0", L"g" + kUpper.substr(1), std::wstring(L"..")}) {
        Old old;
        old.plan.job_id = job;
        EXPECT_EQ(old.discard(), L"Identificador de transacao invalido.") << narrow(job);
    }
    Old old;
    old.plan.job_id = kUpper;
    EXPECT_EQ(old.discard(), L"");
}

}  // namespace
}  // namespace support
