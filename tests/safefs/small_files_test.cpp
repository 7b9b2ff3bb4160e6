#include "safefs/small_files.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <mutex>
#include <set>
#include <tuple>

#include "safefs/plain_files.h"
#include "tests/support/direct.h"
#include "winsim/explore/explore.h"

namespace support {
namespace {

using winsim::explore::DirectRun;
using winsim::explore::Snapshot;

constexpr const wchar_t* kFile = L"C:\\Game\\data\\small.bin";
constexpr const wchar_t* kIncomplete = L"Arquivo incompleto.";
constexpr const wchar_t* kTooLarge = L"Arquivo excede o limite permitido.";
constexpr DWORD kReadWriteDelete = GENERIC_READ | GENERIC_WRITE | DELETE;

vandrel::Bytes bytes_of(const std::string& text) {
    return {text.begin(), text.end()};
}

void write_whole(const std::wstring& path, const std::string& content) {
    const vandrel::Bytes bytes = bytes_of(content);
    const std::span<const std::uint8_t> piece(bytes);
    vandrel::write_file_atomic(kRoot, path, {&piece, 1});
}

class SmallFiles : public testing::Test {
 protected:
    SmallFiles() { machine.install({}); }
    ~SmallFiles() override { EXPECT_EQ(machine.world.disk.open_handles(), 0U); }

    std::wstring read_refusal(const std::wstring& path = kFile, std::uint64_t limit = 16) {
        return machine.refusal([&] { vandrel::read_file_bounded(path, limit); });
    }
    std::wstring write_refusal(const std::string& content = "new", const std::wstring& path = kFile) {
        return machine.refusal([&] { write_whole(path, content); });
    }
    Files files() const { return files_beneath(machine.world.disk, L"C:\\Game\\data"); }

    DirectMachine machine;
};

TEST_F(SmallFiles, are_read_whole_up_to_the_limit_and_not_a_byte_beyond) {
    for (const std::size_t size : {0U, 16U}) {
        machine.world.disk.put(kFile, std::string(size, 'x'));
        EXPECT_EQ(vandrel::read_file_bounded(kFile, size), vandrel::Bytes(size, 'x'));
        EXPECT_EQ(machine.calls("ReadFile").size(), size / 16);
    }
    EXPECT_EQ(read_refusal(kFile, 15), kTooLarge);
    EXPECT_EQ(read_refusal(L"C:\\Game\\x"), L"Abrir arquivo (2): The system cannot find the file specified.\r\n");
    machine.world.disk.make_junction(L"C:\\Game\\link", L"C:\\Game\\data");
    machine.world.gate.reset();
    EXPECT_EQ(read_refusal(L"C:\\Game\\link\\small.bin"), L"Caminho com redirecionamento recusado.");
    EXPECT_TRUE(machine.calls("CreateFileW").empty());
}

TEST_F(SmallFiles, are_refused_in_the_words_of_the_call_that_fails) {
    machine.world.disk.put(kFile, "content");
    const std::tuple<const char*, std::uint32_t, const wchar_t*> rows[] = {
        {"CreateFileW", 5, L"Abrir arquivo (5): Access is denied.\r\n"},
        {"GetFileSizeEx", 6, kTooLarge},
        {"ReadFile", 1117, kIncomplete},
        {"ReadFile", winsim::kShortTransfer, kIncomplete}};
    for (const auto& [call, error, text] : rows) {
        Faults faults(machine.world);
        faults.add(call, L"", error);
        EXPECT_EQ(read_refusal(), text) << call;
    }
}

TEST_F(SmallFiles, are_read_beside_any_other_user_and_a_shrunken_one_is_reported) {
    machine.world.disk.put(kFile, "content");
    const int client = machine.world.disk.hold(kFile, kReadWriteDelete, 7);
    EXPECT_EQ(vandrel::read_file_bounded(kFile, 16), bytes_of("content"));
    at_call(machine.world, "ReadFile", L"", winsim::Moment::before, [&] {
        machine.world.disk.release(machine.world.disk.hold(kFile, kReadWriteDelete, 7));  // throws if it may not
        machine.world.disk.put(kFile, "conten");
    });
    EXPECT_EQ(read_refusal(), kIncomplete);
    machine.world.disk.release(client);
}

TEST_F(SmallFiles, are_durable_under_their_name_when_the_write_returns) {
    for (const std::string& content : {std::string("first"), std::string("second, longer"), std::string()}) {
        EXPECT_EQ(write_refusal(content), L"");
        machine.world.disk.lose_power(machine.world.disk.all_lost());
        EXPECT_EQ(files(), (Files{{"small.bin", content}}));
    }
    EXPECT_EQ(machine.calls("WriteFile").size(), 2U);
    EXPECT_EQ(machine.calls("MoveFileExW").size(), 1U);
    EXPECT_EQ(machine.calls("ReplaceFileW").size(), 2U);
}

TEST_F(SmallFiles, are_old_or_new_after_a_power_cut_anywhere_in_the_write_or_in_a_second_one_after_it) {
    machine.world.disk.put(kFile, "old");
    std::mutex mutex;
    std::set<std::string> seen;
    const auto start = [](const Snapshot& disk, int number) {
        return std::make_unique<DirectRun>(disk, number, [] { write_whole(kFile, "new"); });
    };
    const auto wrong = [&](const Snapshot& disk, int) {
        winsim::Disk left;
        left.restore(disk);
        const std::string content = files_beneath(left, L"C:\\Game\\data")["small.bin"];
        const std::lock_guard lock(mutex);
        seen.insert(content);
        return content == "old" || content == "new" ? std::string() : "'" + content + "'";
    };
    winsim::explore::Report report;
    sweep_cuts({{"write", machine.world.disk.snapshot(), start, wrong, nullptr}},
               {winsim::LossModel::journal, [](const Snapshot&) { return 1; }}, report);
    EXPECT_EQ(report.violations(), "");
    EXPECT_EQ(seen, (std::set<std::string>{"old", "new"}));
}

TEST_F(SmallFiles, are_what_they_were_after_a_failed_write_and_no_temporary_file_stays) {
    const std::tuple<const char*, std::uint32_t, std::wstring> rows[] = {
        {"CreateFileW", 5, L"Criar arquivo temporario (5): Access is denied.\r\n"},
        {"WriteFile", 112, L"Falha ao gravar arquivo temporario."},
        {"WriteFile", winsim::kShortTransfer, L"Falha ao gravar arquivo temporario."},
        {"ReplaceFileW", 1175, L"Falha na promocao atomica (Windows 1175)"},
        {"ReplaceFileW", 31, L"Falha na promocao atomica (Windows 31)"},
        {"ReplaceFileW", 33, L"Falha na promocao atomica (Windows 33)"}};
    machine.world.disk.put(kFile, "old");
    for (const auto& [call, error, text] : rows) {
        Faults faults(machine.world);
        faults.add(call, L"", error);
        EXPECT_EQ(write_refusal(), text);
        EXPECT_EQ(files(), (Files{{"small.bin", "old"}})) << call;
    }
    EXPECT_TRUE(machine.calls("Sleep").empty());
}

TEST_F(SmallFiles, are_written_into_a_new_file_that_nobody_else_may_open) {
    at_call(machine.world, "WriteFile", L".part", winsim::Moment::before, [&] {
        ASSERT_EQ(files().size(), 1U);
        for (const DWORD access : {GENERIC_READ, GENERIC_WRITE, DELETE}) {
            const std::wstring part = L"C:\\Game\\data\\" + wide(files().begin()->first);
            EXPECT_THROW(machine.world.disk.hold(part, access, 7), std::logic_error);
        }
    });
    EXPECT_EQ(write_refusal("old"), L"");
    machine.world.gate.add_watcher([&](const winsim::Call& call, winsim::Moment moment) {
        if (call.name != "CreateFileW" || moment != winsim::Moment::before) return;
        machine.world.disk.put(std::wstring(call.subject), "a stranger's");
    });
    EXPECT_EQ(write_refusal("new"), L"Criar arquivo temporario (80): The file exists.\r\n");
    EXPECT_EQ(machine.world.disk.read(kFile), "old");
}

TEST_F(SmallFiles, name_the_error_from_before_a_flush_that_fails_and_the_first_failure_where_two_happen) {
    machine.world.gate.set_fault_rule([this](const winsim::Call& call) {
        if (call.name == "WriteFile") machine.world.gate.last_error = 5;
        return call.name == "FlushFileBuffers" || call.name == "DeleteFileW" ? 1117U : 0U;
    });
    EXPECT_EQ(write_refusal(), L"Sincronizar arquivo (5): Access is denied.\r\n");
    EXPECT_EQ(files().size(), 1U);
}

TEST_F(SmallFiles, wait_for_a_busy_destination_20_times_25_ms_and_say_how_the_last_attempt_failed) {
    const std::tuple<int, int, std::size_t, std::wstring> rows[] = {
        {1, 0, 1, L""},
        {0, 19, 19, L""},
        {10, 9, 19, L""},
        {kAlways, 0, 20, L"Falha na promocao atomica (Windows 5)"},
        {19, kAlways, 20, L"Falha na promocao atomica (Windows 32)"}};
    for (const auto& [denied, shared, pauses, text] : rows) {
        machine.world.disk.put(kFile, "old");
        machine.world.gate.reset();
        const std::uint64_t start = machine.world.clock.tick_ms();
        Faults faults(machine.world);
        faults.add("ReplaceFileW", L"", 5, denied);
        faults.add("ReplaceFileW", L"", 32, shared);
        EXPECT_EQ(write_refusal(), text);
        EXPECT_EQ(files(), (Files{{"small.bin", text.empty() ? "new" : "old"}}));
        EXPECT_EQ(machine.calls("ReplaceFileW").size(), text.empty() ? pauses + 1 : 20U);
        EXPECT_EQ(machine.calls("Sleep").size(), pauses);
        EXPECT_EQ(machine.world.clock.tick_ms() - start, pauses * 25);
    }
    Faults faults(machine.world);
    faults.add("ReplaceFileW", L"", 32, 2);
    faults.add("ReplaceFileW", L"", 31);
    EXPECT_EQ(write_refusal(), L"Falha na promocao atomica (Windows 31)");
}

TEST_F(SmallFiles, are_not_written_over_a_folder) {
    EXPECT_EQ(write_refusal("x", L"C:\\Game\\modules"), L"Destino de download existente nao e um arquivo regular.");
    EXPECT_TRUE(machine.calls("CreateFileW").empty());
}

TEST_F(SmallFiles, are_discarded_only_when_they_are_plain_and_count_as_gone_when_they_were_never_there) {
    machine.world.disk.put(kFile, "left over");
    redirect(machine.world, L"C:\\Game\\link");
    for (const wchar_t* path : {L"C:\\Game\\data", L"C:\\Game\\link", L"C:\\Game\\none\\x"}) {
        EXPECT_FALSE(vandrel::is_plain_file(path) || vandrel::discard_temporary_file(path)) << narrow(path);
    }
    EXPECT_TRUE(machine.calls("DeleteFileW").empty());
    machine.world.disk.set_attributes(kFile, FILE_ATTRIBUTE_READONLY);
    EXPECT_TRUE(vandrel::is_plain_file(kFile));
    EXPECT_FALSE(vandrel::discard_temporary_file(kFile));
    EXPECT_EQ(machine.calls("DeleteFileW").size(), 1U);
    machine.world.disk.set_attributes(kFile, FILE_ATTRIBUTE_NORMAL);
    EXPECT_TRUE(vandrel::discard_temporary_file(kFile));
    EXPECT_FALSE(machine.world.disk.exists(kFile));
    EXPECT_TRUE(vandrel::discard_temporary_file(kFile));
}

}  // namespace
}  // namespace support
