#include "safefs/file_system.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <tuple>

#include "tests/support/direct.h"

namespace support {
namespace {

const std::wstring kLink = L"C:\\Game\\data\\link";
const std::wstring kSub = L"C:\\Game\\data\\sub";

class FileSystem : public testing::Test {
 protected:
    FileSystem() {
        machine.install(minimal_client());
        machine.world.disk.put(L"C:\\Outside\\deep\\kept.txt", "kept");
        machine.world.disk.make_junction(kLink, L"C:\\Outside");
        machine.world.disk.make_junction(L"C:\\Game\\data\\dangling", L"C:\\Nowhere");
    }
    ~FileSystem() override { EXPECT_EQ(machine.world.disk.open_handles(), 0U); }

    // How `action` ends while the first call of that name on `part`, behind `skip` others, fails with `error`.
    template <class Action>
    std::wstring failing(const char* call, std::wstring part, std::uint32_t error, Action action, int skip = 0) {
        Faults faults(machine.world);
        faults.add(call, std::move(part), error, 1, skip);
        const std::wstring ending = machine.refusal(action);
        EXPECT_TRUE(faults.happened()) << call;
        return ending;
    }

    DirectMachine machine;
};

TEST_F(FileSystem, tells_files_from_folders_and_follows_links) {
    const std::tuple<std::wstring, bool, bool, bool> rows[] = {{L"C:\\Game\\init.lua", true, false, true},
                                                               {L"C:\\Game\\data", true, true, false},
                                                               {kLink, true, true, false},
                                                               {L"C:\\Game\\none\\x", false, false, false},
                                                               {L"C:\\Game\\data\\dangling", false, false, false}};
    for (const auto& [path, exists, folder, file] : rows) {
        EXPECT_EQ(vandrel::exists(path), exists) << narrow(path);
        EXPECT_EQ(vandrel::is_directory(path), folder) << narrow(path);
        EXPECT_EQ(vandrel::is_regular_file(path), file) << narrow(path);
    }
}

TEST_F(FileSystem, takes_only_the_errors_of_a_missing_path_for_a_no) {
    const auto exists = [] { vandrel::require(vandrel::exists(kClient), L"missing"); };
    for (const std::uint32_t error : {2U, 3U, 53U, 64U, 123U, 267U}) {
        EXPECT_EQ(failing("GetFileAttributesExW", L"", error, exists), L"missing") << error;
    }
    for (const std::uint32_t error : {5U, 21U, 32U, 1117U}) {
        EXPECT_EQ(failing("GetFileAttributesExW", L"", error, exists), L"[exists]") << error;
    }
    EXPECT_EQ(failing("GetFileAttributesExW", L"", 5, [] { vandrel::is_directory(kRoot); }), L"[status]");
    EXPECT_EQ(failing("GetFileAttributesExW", L"", 5, [] { vandrel::is_regular_file(kRoot); }), L"[status]");
    for (const char* call : {"CreateFileW", "GetFileInformationByHandle"}) {
        EXPECT_EQ(failing(call, kLink, 5, [] { vandrel::exists(kLink); }), L"[exists]");
        EXPECT_EQ(failing(call, kLink, 5,
                          [] {
                              vandrel::is_directory({kLink, L"link", 0x410, 0});
                          }),
                  L"[directory_entry::status]");
    }
}

TEST_F(FileSystem, makes_missing_folders_and_takes_those_that_somebody_else_has_made_meanwhile) {
    const auto make = [] { vandrel::create_directories(L"C:\\Game\\a\\b"); };
    at_call(machine.world, "CreateDirectoryW", L"\\a", winsim::Moment::before,
            [&] { machine.world.disk.make_folder(L"C:\\Game\\a"); });
    EXPECT_EQ(machine.refusal(make), L"");
    EXPECT_TRUE(machine.world.disk.is_folder(L"C:\\Game\\a\\b"));
    vandrel::create_directories(L"here\\too");
    EXPECT_TRUE(machine.world.disk.is_folder(L"C:\\Users\\Ana\\here\\too"));

    for (const wchar_t* path : {L"C:\\Game\\init.lua", L"X:\\none\\x"}) {
        EXPECT_EQ(machine.refusal([path] { vandrel::create_directories(path); }), L"[create_directories]");
    }
    machine.world.disk.erase(L"C:\\Game\\a");
    at_call(machine.world, "CreateDirectoryW", L"\\a", winsim::Moment::before,
            [&] { machine.world.disk.make_folder(L"C:\\Game\\a"); });
    EXPECT_EQ(failing("CreateDirectoryW", L"\\a", 5, make), L"[create_directories]");
}

TEST_F(FileSystem, removes_a_tree_but_not_what_its_junctions_point_to_and_stops_at_what_stays) {
    const auto remove = [] { vandrel::remove_all(L"C:\\Game\\data"); };
    for (const char* call : {"GetFileAttributesW", "CreateFileW", "GetFileInformationByHandle", "FindFirstFileW",
                             "FindNextFileW", "DeleteFileW"}) {
        EXPECT_EQ(failing(call, L"", 5, remove), L"[remove_all]") << call;
    }
    EXPECT_EQ(failing("RemoveDirectoryW", L"\\data", 5, remove), L"[remove_all]");
    machine.install(minimal_client());
    machine.world.disk.make_junction(kLink, L"C:\\Outside");
    EXPECT_EQ(failing("RemoveDirectoryW", L"\\data", 3, remove, 1), L"");  // gone meanwhile
    for (int i = 0; i < 2; ++i) EXPECT_EQ(machine.refusal(remove), L"");
    EXPECT_FALSE(machine.world.disk.exists(L"C:\\Game\\data"));
    EXPECT_EQ(machine.world.disk.read(L"C:\\Outside\\deep\\kept.txt"), "kept");
}

TEST_F(FileSystem, is_kept_from_a_folder_only_by_who_reads_it_alone_or_may_delete_it) {
    const std::tuple<DWORD, DWORD, const wchar_t*, bool> rows[] = {
        {GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, L"", true},
        {GENERIC_READ, FILE_SHARE_READ, L"[remove_all]", true},  // the folder stays, as it would have without the hold
        {GENERIC_READ, 0, L"[remove_all]", false},
        {DELETE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, L"[remove_all]", false}};
    for (const auto& [access, share, ending, emptied] : rows) {
        machine.world.disk.put(kSub + L"\\x", "");
        const int hold = machine.world.disk.hold(kSub, access, share);
        EXPECT_EQ(machine.refusal([] { vandrel::remove_all(kSub); }), ending) << access << " " << share;
        EXPECT_EQ(!machine.world.disk.exists(kSub + L"\\x"), emptied) << access << " " << share;
        machine.world.disk.release(hold);
    }
}

TEST_F(FileSystem, a_folder_exchanged_before_it_is_held_is_not_entered_and_none_can_be_exchanged_behind_that) {
    const auto remove = [] { vandrel::remove_all(L"C:\\Game\\data"); };
    bool moved = false;
    const auto exchange = [&] {
        moved = MoveFileExW(L"C:\\Game\\data", L"C:\\Aside", 0) != 0;
        if (moved) machine.world.disk.make_junction(L"C:\\Game\\data", L"C:\\Outside");
    };
    at_call(machine.world, "CreateFileW", L"\\data", winsim::Moment::before, exchange);
    EXPECT_EQ(machine.refusal(remove), L"");
    EXPECT_TRUE(moved);
    EXPECT_FALSE(machine.world.disk.exists(L"C:\\Game\\data"));
    machine.install(minimal_client());
    machine.world.disk.erase(L"C:\\Aside");
    at_call(machine.world, "DeleteFileW", L"\\things.dat", winsim::Moment::before, exchange);
    EXPECT_EQ(machine.refusal(remove), L"");
    EXPECT_FALSE(moved);
    EXPECT_EQ(machine.world.disk.read(L"C:\\Outside\\deep\\kept.txt"), "kept");
}

TEST_F(FileSystem, visits_every_entry_of_a_tree_and_enters_no_junction) {
    machine.world.disk.put(L"C:\\Game\\data\\sub\\t", "t", 134000000000000001);
    std::string visited;
    const auto walk = [&] {
        vandrel::walk_tree(L"C:\\Game\\data", [&](const vandrel::DirectoryEntry& entry) {
            visited += narrow(entry.name) + (vandrel::is_directory(entry) ? "\\ " : " ");
            EXPECT_EQ(entry.write_time, entry.name == L"t" ? 134000000000000001U : entry.write_time);
        });
    };
    EXPECT_EQ(machine.refusal(walk), L"");
    EXPECT_EQ(visited, "dangling link\\ sub\\ t things.dat ");
    const std::wstring open = L"[recursive_directory_iterator::recursive_directory_iterator]";
    const std::wstring advance = L"[recursive_directory_iterator::operator++]";
    EXPECT_EQ(failing("FindFirstFileW", L"", 5, walk), open);
    EXPECT_EQ(failing("FindFirstFileW", L"sub", 5, walk), advance);
    for (const int skip : {0, 5}) EXPECT_EQ(failing("FindNextFileW", L"", 5, walk, skip), advance) << skip;
    const auto list = [] { const vandrel::DirectoryIterator entries(kRoot); };
    EXPECT_EQ(failing("FindFirstFileW", L"", 5, list), L"[directory_iterator::directory_iterator]");
    EXPECT_EQ(failing("FindNextFileW", L"", 5, list), L"[directory_iterator::operator++]");
    EXPECT_TRUE(vandrel::DirectoryIterator(kRoot, L"none*").at_end());
}

}  // namespace
}  // namespace support
