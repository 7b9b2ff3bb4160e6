#include "safefs/path_guards.h"

#include <gtest/gtest.h>

#include "tests/support/direct.h"

namespace support {
namespace {

constexpr const wchar_t* kEscapes = L"Destino de download escapa da pasta permitida ou contem redirecionamento.";
constexpr const wchar_t* kNotRegular = L"Destino de download existente nao e um arquivo regular.";

class PathGuards : public testing::Test {
 protected:
    PathGuards() { machine.install(minimal_client()); }

    // What the walk asked about, in order.
    std::vector<std::string> queries(bool (&walk)(const std::wstring&), const std::wstring& path) {
        machine.world.gate.reset();
        EXPECT_TRUE(walk(path)) << narrow(path);
        std::vector<std::string> asked;
        for (const std::string& call : machine.calls("GetFileAttributesW"))
            asked.push_back(call.substr(0, call.find(" -> ")));
        return asked;
    }
    std::wstring verdict(const std::wstring& target, const std::wstring& root = kRoot) {
        std::wstring error = L"as it came";
        const bool allowed = vandrel::validate_download_destination(root, target, error);
        EXPECT_EQ(allowed, error == L"as it came");
        return allowed ? L"" : error;
    }

    DirectMachine machine;
};

using Asked = std::vector<std::string>;

TEST_F(PathGuards, walk_forwards_over_every_prefix_the_bare_drive_first) {
    const Asked expected = {"C:", "C:\\", "C:\\Game", "C:\\Game\\none", "C:\\Game\\none\\x"};
    EXPECT_EQ(queries(vandrel::path_prefixes_free_of_reparse, L"C:\\Game/none\\.\\y\\..\\x"), expected);
    EXPECT_EQ(queries(vandrel::path_prefixes_free_of_reparse, L"C:\\Game\\"),
              (Asked{"C:", "C:\\", "C:\\Game", "C:\\Game\\"}));
}

TEST_F(PathGuards, walk_over_the_ancestors_from_the_root_down_without_the_bare_drive) {
    const Asked expected = {"C:\\", "C:\\Game", "C:\\Game\\none", "C:\\Game\\none\\x"};
    EXPECT_EQ(queries(vandrel::ancestors_free_of_reparse, L"C:\\Game/none\\.\\y\\..\\x"), expected);
    EXPECT_EQ(queries(vandrel::ancestors_free_of_reparse, L"C:\\Game\\"), (Asked{"C:\\", "C:\\Game", "C:\\Game\\"}));
}

TEST_F(PathGuards, differ_when_the_current_folder_of_the_drive_is_a_redirection) {
    machine.world.disk.make_junction(L"C:\\here", L"C:\\Users\\Ana");
    machine.world.current_folder = L"C:\\here";
    EXPECT_FALSE(vandrel::path_prefixes_free_of_reparse(kClient));
    EXPECT_TRUE(vandrel::ancestors_free_of_reparse(kClient));
}

TEST_F(PathGuards, refuse_a_redirection_at_every_level_wherever_it_leads) {
    const std::wstring path = L"C:\\Game\\data\\deep\\file";
    for (const wchar_t* level :
         {L"C:\\Game", L"C:\\Game\\data", L"C:\\Game\\data\\deep", L"C:\\Game\\data\\deep\\file"}) {
        for (const wchar_t* target : {L"C:\\Elsewhere", L"C:\\Game\\modules"}) {
            machine.install(minimal_client());
            machine.world.disk.make_folder(L"C:\\Elsewhere");
            machine.world.disk.erase(level);
            machine.world.disk.make_junction(level, target);
            EXPECT_FALSE(vandrel::path_prefixes_free_of_reparse(path)) << narrow(level);
            EXPECT_FALSE(vandrel::ancestors_free_of_reparse(path)) << narrow(level);
            machine.world.disk.erase(level);
        }
    }
}

TEST_F(PathGuards, take_errors_2_and_3_for_a_missing_step_and_refuse_every_other) {
    for (const std::uint32_t error : {2U, 3U, 5U, 21U, 32U, 53U, 123U, 1117U}) {
        for (const wchar_t* step : {L"C:", L"C:\\Game", L"\\data", L"\\data\\x"}) {
            Faults faults(machine.world);
            faults.add("GetFileAttributesW", step, error, kAlways);
            const bool passes = error == 2 || error == 3;
            EXPECT_EQ(vandrel::path_prefixes_free_of_reparse(L"C:\\Game\\data\\x"), passes) << error << narrow(step);
            EXPECT_EQ(vandrel::ancestors_free_of_reparse(L"C:\\Game\\data\\x"), passes) << error << narrow(step);
        }
    }
}

TEST_F(PathGuards, refuse_a_path_that_has_no_absolute_form_or_a_device_root) {
    EXPECT_FALSE(vandrel::path_prefixes_free_of_reparse(L""));
    EXPECT_FALSE(vandrel::path_prefixes_free_of_reparse(L"\\\\?\\C:\\Game\\init.lua"));
    Faults faults(machine.world);
    faults.add("GetFullPathNameW", L"", kDistinct, kAlways);
    EXPECT_FALSE(vandrel::path_prefixes_free_of_reparse(kClient));
    EXPECT_FALSE(vandrel::ancestors_free_of_reparse(kClient));
    EXPECT_FALSE(vandrel::is_path_within(kRoot, kClient));
    EXPECT_EQ(machine.refusal([] { vandrel::same_folder(kRoot, kRoot); }), L"[absolute]");
}

TEST_F(PathGuards, decide_containment_on_the_text_alone) {
    const struct {
        std::wstring root;
        std::wstring target;
        bool within;
    } rows[] = {{L"C:\\a", L"C:\\a", true},         {L"C:\\a", L"C:\\a\\b\\..\\c", true},
                {L"C:\\a\\", L"C:\\a\\b", true},    {L"C:\\a", L"C:\\a\\", true},
                {L"C:\\", L"C:\\a", true},          {L"C:\\a", L"C:/a/..b", true},
                {L"C:\\a", L"C:\\a\\..\\b", false}, {L"C:\\a", L"C:\\ab", false},
                {L"C:\\a", L"C:\\", false},         {L"C:\\a", L"D:\\a", false},
                {L"C:\\a", L"c:\\a\\b", false},     {L"C:\\Game\\x", L"C:\\game\\x\\y", false},
                {L"C:\\a", L"\\\\server\\a", false}};
    for (const auto& row : rows) {
        EXPECT_EQ(vandrel::is_path_within(row.root, row.target), row.within) << narrow(row.root + L" " + row.target);
    }
    EXPECT_TRUE(machine.calls("GetFileAttributesW").empty());
}

TEST_F(PathGuards, call_two_spellings_of_a_folder_the_same_but_not_with_a_trailing_separator) {
    EXPECT_TRUE(vandrel::same_folder(L"C:\\Game\\x", L"c:/GAME/y/../X"));
    EXPECT_FALSE(vandrel::same_folder(L"C:\\a\\", L"C:\\a"));
    EXPECT_FALSE(vandrel::same_folder(L"C:\\\xC7", L"C:\\\xE7"));
}

TEST_F(PathGuards, let_a_download_land_on_a_plain_file_a_free_name_or_what_cannot_be_looked_at) {
    EXPECT_EQ(verdict(L"C:\\Game\\init.lua"), L"");
    EXPECT_EQ(verdict(L"C:\\Game\\new\\deep\\file"), L"");
    Faults faults(machine.world);
    faults.add("GetFileAttributesW", L"init.lua", 5);
    EXPECT_EQ(verdict(L"C:\\Game\\init.lua"), L"");
    EXPECT_TRUE(faults.happened());
}

TEST_F(PathGuards, refuse_a_download_that_escapes_or_is_redirected_before_they_look_at_its_target) {
    auto& disk = machine.world.disk;
    disk.make_junction(L"C:\\Game\\data\\link", L"C:\\Game\\modules");
    disk.make_junction(L"C:\\Link", kRoot);
    disk.make_junction(L"C:\\Over", L"C:\\");
    const struct {
        std::wstring target;
        std::wstring root;
        std::wstring error;
    } rows[] = {{L"C:\\Game\\x", L"C:\\Missing", kEscapes},
                {L"C:\\Game\\init.lua\\x", L"C:\\Game\\init.lua", kEscapes},
                {L"C:\\Link\\x", L"C:\\Link", kEscapes},
                {L"C:\\Over\\Game\\x", L"C:\\Over\\Game", kEscapes},
                {L"C:\\Other\\x", kRoot, kEscapes},
                {L"c:\\game\\x", kRoot, kEscapes},
                {L"C:\\Game\\..\\data", kRoot, kEscapes},
                {L"C:\\Game\\data\\link\\x", kRoot, kEscapes},
                {L"C:\\Game\\data\\link\\data", kRoot, kEscapes},
                {L"C:\\Game\\data\\link", kRoot, kNotRegular},
                {L"C:\\Game\\data", kRoot, kNotRegular}};
    for (const auto& row : rows) EXPECT_EQ(verdict(row.target, row.root), row.error) << narrow(row.target);
    Faults faults(machine.world);
    faults.add("GetFileAttributesW", L"\\data", 5);
    EXPECT_EQ(verdict(L"C:\\Game\\data\\x"), kEscapes);
}

TEST_F(PathGuards, make_a_safe_directory_with_its_missing_ancestors_and_leave_an_existing_one) {
    vandrel::ensure_safe_directory(L"C:\\Game\\a\\b\\c");
    EXPECT_TRUE(machine.world.disk.is_folder(L"C:\\Game\\a\\b\\c"));
    machine.world.gate.reset();
    vandrel::ensure_safe_directory(L"C:\\Game\\a\\b\\c");
    EXPECT_TRUE(machine.calls("CreateDirectoryW").empty());
}

TEST_F(PathGuards, refuse_a_directory_redirected_before_or_while_it_is_made) {
    auto& disk = machine.world.disk;
    disk.make_junction(L"C:\\Game\\link", L"C:\\Users");
    EXPECT_EQ(machine.refusal([] { vandrel::ensure_safe_directory(L"C:\\Game\\link\\x"); }),
              L"Diretorio com redirecionamento recusado.");
    EXPECT_FALSE(disk.exists(L"C:\\Users\\x"));
    machine.world.gate.add_watcher([&](const winsim::Call& call, winsim::Moment moment) {
        if (call.name != "CreateDirectoryW" || moment != winsim::Moment::after) return;
        disk.erase(std::wstring(call.subject));
        if (call.subject.ends_with(L"swapped")) disk.make_junction(std::wstring(call.subject), L"C:\\Users");
    });
    EXPECT_EQ(machine.refusal([] { vandrel::ensure_safe_directory(L"C:\\Game\\swapped"); }), L"Diretorio inseguro.");
    EXPECT_EQ(machine.refusal([] { vandrel::ensure_safe_directory(L"C:\\Game\\gone"); }), L"Diretorio inseguro.");
}

TEST_F(PathGuards, report_a_directory_that_cannot_be_made_as_the_platforms_error) {
    const auto make = [this](const wchar_t* path) {
        return machine.refusal([path] { vandrel::ensure_safe_directory(path); });
    };
    EXPECT_EQ(make(L"C:\\Game\\init.lua"), L"[create_directories]");
    Faults faults(machine.world);
    faults.add("CreateDirectoryW", L"\\b");
    EXPECT_EQ(make(L"C:\\Game\\a\\b\\c"), L"[create_directories]");
    EXPECT_TRUE(machine.world.disk.is_folder(L"C:\\Game\\a"));
}

}  // namespace
}  // namespace support
