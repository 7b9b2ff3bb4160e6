#include "safefs/partial_files.h"

#include <gtest/gtest.h>

#include "tests/support/direct.h"

namespace support {
namespace {

constexpr std::uint32_t kDayMs = 86400000;
const std::wstring kFolder = L"C:\\Game\\data\\";
const std::wstring kTarget = kFolder + L"a.bin";
const std::wstring kPart = kFolder + L"a.bin.qmpart-1-00.part";

class PartialFiles : public testing::Test {
 protected:
    PartialFiles() { machine.install({}); }

    void put_aged(const std::wstring& path, std::int64_t age_ticks) {
        machine.world.disk.put(path, "part", machine.world.clock.file_time() - static_cast<std::uint64_t>(age_ticks));
    }
    std::uint32_t swept(std::uint32_t age_ms = kDayMs) {
        std::uint32_t removed = 40;
        qm_streaming::remove_stale_parts(kTarget, age_ms, removed);
        return removed - 40;
    }
    // The error text; "promoted" if it was.
    std::wstring promote(const std::wstring& part = kPart) {
        std::wstring error;
        return qm_streaming::promote_part(kRoot, part, kTarget, error) ? L"promoted" : error;
    }

    DirectMachine machine;
};

TEST_F(PartialFiles, are_named_after_their_file_the_process_and_sixteen_random_digits) {
    const std::wstring first = qm_streaming::make_part_path(kTarget);
    const std::wstring second = qm_streaming::make_part_path(kTarget);
    const std::wstring begin = kTarget + L".qmpart-4-";
    EXPECT_EQ(first.substr(0, begin.size()), begin);
    EXPECT_EQ(first.find_first_not_of(L"0123456789abcdef", begin.size()), begin.size() + 16);
    EXPECT_EQ(first.substr(begin.size() + 16), L".part");
    EXPECT_NE(first, second);
    Faults faults(machine.world);
    faults.add("BCryptGenRandom", L"", kDistinct, kAlways);
    // Tick 1000000, process 4, thread 8: 0x00000004000F4248 in memory order.
    EXPECT_EQ(qm_streaming::make_part_path(kTarget), kTarget + L".qmpart-4-48420f0004000000.part");
}

TEST_F(PartialFiles, are_swept_from_exactly_the_age_limit_on) {
    const std::int64_t day = std::int64_t{kDayMs} * 10000;
    const struct {
        std::int64_t age_ticks;
        std::uint32_t age_ms;
        bool swept;
    } rows[] = {{day, kDayMs, true}, {day - 1, kDayMs, false}, {day + 1, kDayMs, true},
                {0, 0, true},        {-10000, 0, false},       {-day, kDayMs, false}};
    for (const auto& row : rows) {
        put_aged(kPart, row.age_ticks);
        EXPECT_EQ(swept(row.age_ms), row.swept ? 1U : 0U) << row.age_ticks;
        EXPECT_EQ(machine.world.disk.exists(kPart), !row.swept) << row.age_ticks;
    }
}

TEST_F(PartialFiles, of_other_files_and_of_other_names_are_left_alone) {
    const std::int64_t old = std::int64_t{kDayMs} * 20000;
    const struct {
        const wchar_t* name;
        bool swept;
    } rows[] = {{L"a.bin.qmpart-1-00.part", true},   {L"a.bin.qmpart-x.part", true},
                {L"a.bin.qmpart-.part", false},      {L"A.BIN.qmpart-1-00.part", false},
                {L"a.bin.QMPART-1-00.part", false},  {L"a.bin.qmpart-1-00.PART", false},
                {L"b.bin.qmpart-1-00.part", false},  {L"xa.bin.qmpart-1-00.part", false},
                {L"a.bin.qmpart-1-00.part2", false}, {L"a.bin", false}};
    for (const auto& row : rows) {
        put_aged(kFolder + row.name, old);
        EXPECT_EQ(swept(), row.swept ? 1U : 0U) << narrow(row.name);
        EXPECT_EQ(machine.world.disk.exists(kFolder + row.name), !row.swept) << narrow(row.name);
        machine.world.disk.erase(kFolder + row.name);
    }
    put_aged(kFolder + L"deeper\\a.bin.qmpart-1-00.part", old);
    machine.world.disk.make_folder(kPart);
    machine.world.disk.make_junction(kFolder + L"a.bin.qmpart-2-00.part", kRoot);
    machine.world.clock.advance(std::uint64_t{kDayMs} * 2);
    EXPECT_EQ(swept(), 0U);
    EXPECT_EQ(machine.world.disk.tree(L"C:\\Game\\data").size(), 4U);
}

TEST_F(PartialFiles, that_vanish_during_the_sweep_count_as_removed_and_undeletable_ones_do_not) {
    const struct {
        const char* call;
        std::uint32_t error;
        int skip;
        std::uint32_t swept;
    } rows[] = {{"GetFileAttributesW", 2, 1, 1}, {"GetFileAttributesW", 3, 1, 0}, {"GetFileAttributesW", 5, 1, 0},
                {"GetFileAttributesW", 2, 0, 0}, {"DeleteFileW", 5, 0, 0},        {"DeleteFileW", 2, 0, 0},
                {"FindFirstFileW", 5, 0, 0},     {"FindNextFileW", 1117, 0, 1}};
    for (const auto& row : rows) {
        put_aged(kPart, std::int64_t{kDayMs} * 10000);
        Faults faults(machine.world);
        faults.add(row.call, row.call[0] == 'F' ? L"" : kPart, row.error, 1, row.skip);
        EXPECT_EQ(swept(), row.swept) << row.call << " " << row.error;
        EXPECT_TRUE(faults.happened()) << row.call;
        EXPECT_EQ(machine.world.disk.open_handles(), 0U);
    }
}

TEST_F(PartialFiles, behind_a_redirection_are_not_looked_for) {
    machine.world.disk.make_junction(L"C:\\Game\\link", L"C:\\Game\\data");
    put_aged(kPart, std::int64_t{kDayMs} * 10000);
    std::uint32_t removed = 0;
    qm_streaming::remove_stale_parts(L"C:\\Game\\link\\a.bin", kDayMs, removed);
    EXPECT_EQ(removed, 0U);
    EXPECT_TRUE(machine.calls("FindFirstFileW").empty());
}

TEST_F(PartialFiles, become_their_file_by_a_move_onto_a_free_name_and_by_a_replacement_else) {
    for (const char* content : {"first", "second"}) {
        machine.world.disk.put(kPart, content);
        EXPECT_EQ(promote(), L"promoted");
        EXPECT_EQ(machine.world.disk.pending(), 0U);
        EXPECT_EQ(files_beneath(machine.world.disk, L"C:\\Game\\data"), (Files{{"a.bin", content}}));
    }
    EXPECT_EQ(machine.calls("MoveFileExW"), std::vector<std::string>{"C:\\Game\\data\\a.bin -> 1"});
    EXPECT_EQ(machine.calls("ReplaceFileW"), std::vector<std::string>{"C:\\Game\\data\\a.bin -> 1"});
}

TEST_F(PartialFiles, that_lie_elsewhere_or_behind_a_redirection_are_refused_without_a_word) {
    machine.world.disk.put(L"C:\\Game\\elsewhere.part", "part");
    machine.world.disk.put(L"C:\\Game\\modules\\x.part", "part");
    machine.world.disk.make_junction(L"C:\\Game\\data\\link", L"C:\\Game\\modules");
    EXPECT_EQ(promote(L"C:\\Game\\elsewhere.part"), L"");
    EXPECT_EQ(promote(L"C:\\Game\\data\\link\\x.part"), L"");
    EXPECT_FALSE(machine.world.disk.exists(kTarget));
}

TEST_F(PartialFiles, that_are_no_plain_file_any_more_are_refused) {
    const std::wstring text = L"Arquivo parcial deixou de ser regular antes da promocao.";
    EXPECT_EQ(promote(), text);
    machine.world.disk.make_folder(kPart);
    EXPECT_EQ(promote(), text);
}

TEST_F(PartialFiles, are_not_promoted_where_the_destination_is_refused) {
    machine.world.disk.put(kPart, "part");
    machine.world.disk.make_folder(kTarget);
    EXPECT_EQ(promote(), L"Destino de download existente nao e um arquivo regular.");
}

TEST_F(PartialFiles, stay_beside_an_unchanged_destination_when_the_promotion_fails) {
    const struct {
        const char* call;
        std::uint32_t error;
        int skip;
        bool exists;
        std::wstring text;
    } rows[] = {{"GetFileAttributesW", 5, 3, true, L"Falha ao inspecionar destino (Windows 5)"},
                {"GetFileAttributesW", 3, 3, true, L"Falha ao inspecionar destino (Windows 3)"},
                {"ReplaceFileW", 32, 0, true, L"Falha na promocao atomica (Windows 32)"},
                {"MoveFileExW", 5, 0, false, L"Falha na promocao atomica (Windows 5)"},
                {"GetFileAttributesW", 2, 3, true, L"Falha na promocao atomica (Windows 183)"}};
    for (const auto& row : rows) {
        machine.world.disk.put(kPart, "part");
        machine.world.disk.erase(kTarget);
        if (row.exists) machine.world.disk.put(kTarget, "old");
        Faults faults(machine.world);
        faults.add(row.call, L"a.bin", row.error, 1, row.skip);
        EXPECT_EQ(promote(), row.text);
        EXPECT_EQ(machine.world.disk.read(kPart), "part");
        EXPECT_EQ(machine.world.disk.exists(kTarget), row.exists);
    }
}

}  // namespace
}  // namespace support
