#include "safefs/partial_files.h"

#include <gtest/gtest.h>

#include <tuple>

#include "tests/support/direct.h"

namespace support {
namespace {

constexpr std::uint32_t kDayMs = 86400000;
constexpr std::int64_t kDay = 864000000000;  // ticks
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
    machine.world.clock.advance(64);
    // Tick 1000064, process 4, thread 8: 0x00000004000F4288 in memory order.
    EXPECT_EQ(qm_streaming::make_part_path(kTarget), kTarget + L".qmpart-4-88420f0004000000.part");
}

TEST_F(PartialFiles, are_swept_from_exactly_the_age_limit_on) {
    const std::tuple<std::int64_t, std::uint32_t, bool> rows[] = {
        {kDay, kDayMs, true}, {kDay - 1, kDayMs, false}, {0, 0, true}, {-10000, 0, false}, {-kDay, kDayMs, false}};
    for (const auto& [age_ticks, age_ms, goes] : rows) {
        put_aged(kPart, age_ticks);
        EXPECT_EQ(swept(age_ms), goes ? 1U : 0U) << age_ticks;
        EXPECT_EQ(machine.world.disk.exists(kPart), !goes) << age_ticks;
    }
}

TEST_F(PartialFiles, of_other_files_and_of_other_names_are_left_alone) {
    auto& disk = machine.world.disk;
    for (const wchar_t* name : {L"a.bin.qmpart-1-00.part", L"a.bin.qmpart-x.part"}) {
        put_aged(kFolder + name, 2 * kDay);
        disk.set_attributes(kFolder + name, 0x2);
        EXPECT_EQ(swept(), 1U) << narrow(name);
    }
    for (const wchar_t* name : {L"a.bin.qmpart-.part", L"A.BIN.qmpart-1-00.part", L"a.bin.QMPART-1-00.part",
                                L"a.bin.qmpart-1-00.PART", L"b.bin.qmpart-1-00.part", L"xa.bin.qmpart-1-00.part",
                                L"a.bin.qmpart-1-00.part2", L"a.bin", L"deeper\\a.bin.qmpart-1-00.part"}) {
        put_aged(kFolder + name, 2 * kDay);
        EXPECT_EQ(swept(), 0U) << narrow(name);
        EXPECT_TRUE(disk.exists(kFolder + name)) << narrow(name);
        disk.erase(kFolder + name);
    }
    disk.make_folder(kPart);
    disk.make_junction(kFolder + L"a.bin.qmpart-2-00.part", kRoot);
    machine.world.clock.advance(std::uint64_t{kDayMs} * 2);
    EXPECT_EQ(swept(), 0U);
}

TEST_F(PartialFiles, that_vanish_during_the_sweep_count_as_removed_and_undeletable_ones_do_not) {
    const std::tuple<const char*, std::uint32_t, int, std::uint32_t> rows[] = {
        {"GetFileAttributesW", 2, 1, 1}, {"GetFileAttributesW", 3, 1, 0}, {"GetFileAttributesW", 5, 1, 0},
        {"GetFileAttributesW", 2, 0, 0}, {"DeleteFileW", 5, 0, 0},        {"DeleteFileW", 2, 0, 0},
        {"FindFirstFileW", 5, 0, 0},     {"FindNextFileW", 1117, 0, 1}};
    for (const auto& [call, error, skip, removed] : rows) {
        put_aged(kPart, kDay);
        Faults faults(machine.world);
        faults.add(call, call[0] == 'F' ? L"" : kPart, error, 1, skip);
        EXPECT_EQ(swept(), removed) << call << " " << error;
        EXPECT_TRUE(faults.happened()) << call;
        EXPECT_EQ(machine.world.disk.open_handles(), 0U);
    }
}

TEST_F(PartialFiles, behind_a_redirection_are_not_looked_for) {
    machine.world.disk.make_junction(L"C:\\Game\\link", L"C:\\Game\\data");
    std::uint32_t removed = 0;
    qm_streaming::remove_stale_parts(L"C:\\Game\\link\\a.bin", kDayMs, removed);
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

TEST_F(PartialFiles, are_refused_by_their_destination_then_by_their_place_without_a_word_then_by_their_kind) {
    constexpr const wchar_t* kNotPlain = L"Arquivo parcial deixou de ser regular antes da promocao.";
    machine.world.disk.put(L"C:\\Game\\elsewhere.part", "part");
    machine.world.disk.put(L"C:\\Game\\modules\\x.part", "part");
    machine.world.disk.make_junction(L"C:\\Game\\data\\link", L"C:\\Game\\modules");
    EXPECT_EQ(promote(L"C:\\Game\\elsewhere.part"), L"");
    EXPECT_EQ(promote(L"C:\\Game\\missing.part"), L"");
    EXPECT_EQ(promote(L"C:\\Game\\data\\link\\x.part"), L"");
    EXPECT_EQ(promote(), kNotPlain);
    machine.world.disk.make_folder(kPart);
    EXPECT_EQ(promote(), kNotPlain);
    EXPECT_FALSE(machine.world.disk.exists(kTarget));
    machine.world.disk.make_folder(kTarget);
    for (const std::wstring& part : {kPart, std::wstring(L"C:\\Game\\elsewhere.part")}) {
        EXPECT_EQ(promote(part), L"Destino de download existente nao e um arquivo regular.");
    }
}

TEST_F(PartialFiles, stay_beside_an_unchanged_destination_when_the_promotion_fails) {
    const std::tuple<const char*, std::uint32_t, int, bool, std::wstring> rows[] = {
        {"GetFileAttributesW", 5, 3, true, L"Falha ao inspecionar destino (Windows 5)"},
        {"GetFileAttributesW", 3, 3, true, L"Falha ao inspecionar destino (Windows 3)"},
        {"ReplaceFileW", 32, 0, true, L"Falha na promocao atomica (Windows 32)"},
        {"MoveFileExW", 5, 0, false, L"Falha na promocao atomica (Windows 5)"},
        {"GetFileAttributesW", 2, 3, true, L"Falha na promocao atomica (Windows 183)"}};
    for (const auto& [call, error, skip, exists, text] : rows) {
        machine.world.disk.put(kPart, "part");
        machine.world.disk.erase(kTarget);
        if (exists) machine.world.disk.put(kTarget, "old");
        Faults faults(machine.world);
        faults.add(call, L"a.bin", error, 1, skip);
        EXPECT_EQ(promote(), text);
        EXPECT_EQ(machine.world.disk.read(kPart), "part");
        EXPECT_EQ(machine.world.disk.exists(kTarget), exists);
    }
}

}  // namespace
}  // namespace support
