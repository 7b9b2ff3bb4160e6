#include "safefs/file_system.h"

#include <gtest/gtest.h>
#include <windows.h>

#include "tests/support/direct.h"

namespace support {
namespace {

class FileSystem : public testing::Test {
 protected:
    FileSystem() {
        machine.install(minimal_client());
        machine.world.disk.put(L"C:\\Outside\\kept.txt", "kept");
        machine.world.disk.make_junction(L"C:\\Game\\data\\link", L"C:\\Outside");
        machine.world.disk.make_junction(L"C:\\Game\\data\\dangling", L"C:\\Nowhere");
    }

    DirectMachine machine;
};

TEST_F(FileSystem, tells_files_from_folders_and_follows_links) {
    const struct {
        std::wstring path;
        bool exists, folder, file;
    } rows[] = {{L"C:\\Game\\init.lua", true, false, true},     {L"C:\\Game\\data", true, true, false},
                {L"C:\\Game\\data\\link", true, true, false},   {L"C:\\Game\\none", false, false, false},
                {L"C:\\Game\\none\\none", false, false, false}, {L"C:\\Game\\data\\dangling", false, false, false},
                {L"C:\\Game\\init.lua\\x", false, false, false}};
    for (const auto& row : rows) {
        EXPECT_EQ(vandrel::exists(row.path), row.exists) << narrow(row.path);
        EXPECT_EQ(vandrel::is_directory(row.path), row.folder) << narrow(row.path);
        EXPECT_EQ(vandrel::is_regular_file(row.path), row.file) << narrow(row.path);
    }
}

TEST_F(FileSystem, takes_only_the_errors_of_a_missing_path_for_a_no) {
    for (const std::uint32_t error : {2U, 3U, 53U, 64U, 123U, 267U}) {
        Faults faults(machine.world);
        faults.add("GetFileAttributesExW", L"", error, kAlways);
        EXPECT_FALSE(vandrel::exists(kClient)) << error;
        EXPECT_FALSE(vandrel::is_directory(kRoot)) << error;
    }
    for (const std::uint32_t error : {5U, 21U, 32U, 1117U}) {
        Faults faults(machine.world);
        faults.add("GetFileAttributesExW", L"", error, kAlways);
        EXPECT_EQ(machine.refusal([] { vandrel::exists(kClient); }), L"[exists]") << error;
        EXPECT_EQ(machine.refusal([] { vandrel::is_directory(kRoot); }), L"[status]") << error;
        EXPECT_EQ(machine.refusal([] { vandrel::is_regular_file(kClient); }), L"[status]") << error;
    }
}

TEST_F(FileSystem, removes_a_tree_and_leaves_what_its_junctions_point_to) {
    vandrel::remove_all(L"C:\\Game");
    vandrel::remove_all(L"C:\\Game");
    EXPECT_FALSE(machine.world.disk.exists(kRoot));
    EXPECT_EQ(machine.world.disk.read(L"C:\\Outside\\kept.txt"), "kept");
    machine.world.disk.make_junction(L"C:\\Link", L"C:\\Outside");
    vandrel::remove_all(L"C:\\Link");
    EXPECT_FALSE(machine.world.disk.exists(L"C:\\Link"));
    EXPECT_EQ(machine.world.disk.read(L"C:\\Outside\\kept.txt"), "kept");
    EXPECT_EQ(machine.world.disk.open_handles(), 0U);
}

TEST_F(FileSystem, stops_a_removal_at_a_file_that_stays) {
    const auto remove = [] { vandrel::remove_all(L"C:\\Game\\data"); };
    const int hold = machine.world.disk.hold(L"C:\\Game\\data\\things.dat", GENERIC_READ, FILE_SHARE_READ);
    EXPECT_EQ(machine.refusal(remove), L"[remove_all]");
    machine.world.disk.release(hold);
    EXPECT_EQ(machine.refusal(remove), L"");
    EXPECT_FALSE(machine.world.disk.exists(L"C:\\Game\\data"));
}

TEST_F(FileSystem, visits_every_entry_of_a_tree_and_enters_no_junction) {
    std::vector<std::string> visited;
    vandrel::walk_tree(L"C:\\Game\\data", [&](const vandrel::DirectoryEntry& entry) {
        visited.push_back(narrow(entry.name) + (vandrel::is_directory(entry) ? "\\" : ""));
    });
    EXPECT_EQ(visited, (std::vector<std::string>{"dangling", "link\\", "things.dat"}));
    EXPECT_EQ(machine.refusal([] { vandrel::walk_tree(L"C:\\None", [](const auto&) {}); }),
              L"[recursive_directory_iterator::recursive_directory_iterator]");
    Faults faults(machine.world);
    faults.add("FindNextFileW");
    EXPECT_EQ(machine.refusal([] { const vandrel::DirectoryIterator entries(kRoot); }),
              L"[directory_iterator::operator++]");
}

TEST_F(FileSystem, keeps_write_times_to_the_tick_of_100_nanoseconds) {
    machine.world.disk.put(L"C:\\Game\\t", "t", 134000000000000001);
    EXPECT_EQ(vandrel::last_write_time(L"C:\\Game\\t"), 134000000000000001U);
    EXPECT_EQ(machine.refusal([] { vandrel::last_write_time(L"C:\\Game\\none"); }), L"[last_write_time]");
}

}  // namespace
}  // namespace support
