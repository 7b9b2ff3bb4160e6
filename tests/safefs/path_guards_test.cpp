#include "safefs/path_guards.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <tuple>

#include "tests/support/direct.h"

namespace support {
namespace {

constexpr const wchar_t* kEscapes = L"Destino de download escapa da pasta permitida ou contem redirecionamento.";
constexpr const wchar_t* kNotRegular = L"Destino de download existente nao e um arquivo regular.";

using Asked = std::vector<std::string>;

class PathGuards : public testing::Test {
 protected:
    PathGuards() { machine.install(minimal_client()); }

    // What the walk asked about, in order.
    Asked queries(bool (&walk)(const std::wstring&), const std::wstring& path) {
        machine.world.gate.reset();
        EXPECT_TRUE(walk(path)) << narrow(path);
        Asked asked;
        for (const std::string& call : machine.calls("GetFileAttributesW")) {
            asked.push_back(call.substr(0, call.find(" -> ")));
        }
        return asked;
    }
    void expect_both(bool passes, const std::wstring& path, const std::string& why) {
        EXPECT_EQ(vandrel::path_prefixes_free_of_reparse(path), passes) << why;
        EXPECT_EQ(vandrel::ancestors_free_of_reparse(path), passes) << why;
    }
    std::wstring verdict(const std::wstring& target, const std::wstring& root = kRoot) {
        std::wstring error = L"as it came";
        const bool allowed = vandrel::validate_download_destination(root, target, error);
        EXPECT_EQ(allowed, error == L"as it came");
        return allowed ? L"" : error;
    }

    DirectMachine machine;
};

TEST_F(PathGuards, walk_over_every_prefix_or_every_ancestor_from_the_root_down) {
    const std::wstring path = L"C:\\Game/none\\.\\y\\..\\x";
    EXPECT_EQ(queries(vandrel::path_prefixes_free_of_reparse, path),
              (Asked{"C:", "C:\\", "C:\\Game", "C:\\Game\\none", "C:\\Game\\none\\x"}));
    EXPECT_EQ(queries(vandrel::path_prefixes_free_of_reparse, L"C:\\Game\\"),
              (Asked{"C:", "C:\\", "C:\\Game", "C:\\Game\\"}));
    EXPECT_EQ(queries(vandrel::ancestors_free_of_reparse, path),
              (Asked{"C:\\", "C:\\Game", "C:\\Game\\none", "C:\\Game\\none\\x"}));
    EXPECT_EQ(queries(vandrel::ancestors_free_of_reparse, L"C:\\Game\\"), (Asked{"C:\\", "C:\\Game", "C:\\Game\\"}));
}

TEST_F(PathGuards, pass_a_missing_step_and_refuse_a_redirection_one_that_cannot_be_looked_at_and_no_path) {
    const std::wstring path = L"C:\\Game\\data\\x";
    for (const std::uint32_t error : {2U, 3U, 5U, 21U, 32U, 53U, 123U, 1117U}) {
        for (const wchar_t* step : {L"C:", L"C:\\Game", L"\\data", L"\\data\\x"}) {
            Faults faults(machine.world);
            faults.add("GetFileAttributesW", step, error, kAlways);
            expect_both(error == 2 || error == 3, path, std::to_string(error) + narrow(step));
        }
    }
    for (const wchar_t* level : {L"C:\\Game\\data\\x", L"C:\\Game\\data", L"C:\\Game"}) {
        redirect(machine.world, level);
        expect_both(false, path, narrow(level));
    }
    EXPECT_FALSE(vandrel::path_prefixes_free_of_reparse(L""));
    EXPECT_FALSE(vandrel::path_prefixes_free_of_reparse(L"\\\\?\\C:\\Users"));
    Faults faults(machine.world);
    faults.add("GetFullPathNameW", L"", kDistinct, kAlways);
    expect_both(false, L"C:\\Users", "without an absolute form");
    EXPECT_FALSE(vandrel::is_path_within(kRoot, kClient));
    EXPECT_EQ(machine.refusal([] { vandrel::same_folder(kRoot, kRoot); }), L"[absolute]");
}

TEST_F(PathGuards, decide_containment_and_identity_on_the_text_alone) {
    for (const auto& [root, target] : {std::pair(L"C:\\a", L"C:\\a"),
                                       {L"C:\\a", L"C:\\a\\b\\..\\c"},
                                       {L"C:\\a\\", L"C:\\a\\b"},
                                       {L"C:\\", L"C:\\a"},
                                       {L"C:\\a", L"C:/a/..b"}}) {
        EXPECT_TRUE(vandrel::is_path_within(root, target)) << narrow(target);
    }
    for (const wchar_t* target : {L"C:\\a\\..\\b", L"C:\\ab", L"C:\\", L"D:\\a", L"c:\\a\\b", L"\\\\server\\a"}) {
        EXPECT_FALSE(vandrel::is_path_within(L"C:\\a", target)) << narrow(target);
    }
    EXPECT_TRUE(vandrel::same_folder(L"C:\\Game\\x", L"c:/GAME/y/../X"));
    EXPECT_FALSE(vandrel::same_folder(L"C:\\a\\", L"C:\\a"));
    EXPECT_FALSE(vandrel::same_folder(L"C:\\\xC7", L"C:\\\xE7"));
    EXPECT_TRUE(machine.calls("GetFileAttributesW").empty());
}

TEST_F(PathGuards, let_a_download_land_on_a_plain_file_a_free_name_or_what_cannot_be_looked_at) {
    machine.world.disk.set_attributes(kRoot, FILE_ATTRIBUTE_READONLY);
    machine.world.disk.set_attributes(L"C:\\Game\\init.lua", FILE_ATTRIBUTE_READONLY);
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
    const std::tuple<std::wstring, std::wstring, std::wstring> rows[] = {
        {L"C:\\Missing", L"C:\\Missing\\x", kEscapes},    {L"C:\\Game\\init.lua", L"C:\\Game\\init.lua\\x", kEscapes},
        {L"C:\\Link", L"C:\\Link\\x", kEscapes},          {L"C:\\Over\\Game", L"C:\\Over\\Game\\x", kEscapes},
        {kRoot, L"C:\\Game\\..\\data", kEscapes},         {kRoot, L"c:\\game\\x", kEscapes},
        {kRoot, L"C:\\Game\\data\\link\\data", kEscapes}, {kRoot, L"C:\\Game\\data\\link", kNotRegular},
        {kRoot, L"C:\\Game\\data", kNotRegular}};
    for (const auto& [root, target, error] : rows) EXPECT_EQ(verdict(target, root), error) << narrow(target);
    Faults faults(machine.world);
    faults.add("GetFileAttributesW", L"\\data", 5);
    EXPECT_EQ(verdict(L"C:\\Game\\data\\x"), kEscapes);
}

TEST_F(PathGuards, make_a_safe_directory_and_refuse_one_redirected_before_or_while_it_is_made) {
    auto& disk = machine.world.disk;
    const auto make = [&](const wchar_t* path) {
        return machine.refusal([&] { vandrel::ensure_safe_directory(path); });
    };
    EXPECT_EQ(make(L"C:\\Game\\a\\b\\c"), L"");
    EXPECT_TRUE(disk.is_folder(L"C:\\Game\\a\\b\\c"));
    machine.world.gate.reset();
    EXPECT_EQ(make(L"C:\\Game\\a\\b\\c"), L"");
    EXPECT_TRUE(machine.calls("CreateDirectoryW").empty());
    disk.make_junction(L"C:\\Game\\link", L"C:\\Users");
    EXPECT_EQ(make(L"C:\\Game\\link\\x"), L"Diretorio com redirecionamento recusado.");
    EXPECT_FALSE(disk.exists(L"C:\\Users\\x"));
    EXPECT_EQ(make(L"C:\\Game\\init.lua"), L"[create_directories]");
    const auto instead_of = [&](const wchar_t* name, std::function<void()> action) {
        at_call(machine.world, "CreateDirectoryW", name, winsim::Moment::after, std::move(action));
    };
    instead_of(L"\\swapped", [&] { redirect(machine.world, L"C:\\Game\\swapped"); });
    instead_of(L"\\gone", [&] { disk.erase(L"C:\\Game\\gone"); });
    EXPECT_EQ(make(L"C:\\Game\\swapped"), L"Diretorio inseguro.");
    EXPECT_EQ(make(L"C:\\Game\\gone"), L"Diretorio inseguro.");
}

}  // namespace
}  // namespace support
