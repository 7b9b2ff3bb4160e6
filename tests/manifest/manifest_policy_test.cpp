#include "manifest/manifest_policy.h"

#include <gtest/gtest.h>

#include "tests/support/direct.h"

namespace support {
namespace {

constexpr std::uint64_t kGiB = 1024ULL * 1024 * 1024;
constexpr const wchar_t* kEmpty = L"Release vazia ou invalida.";
constexpr const wchar_t* kUnmanaged = L"Caminho nao gerenciado no manifesto.";
constexpr const wchar_t* kRepeated = L"Caminho repetido no manifesto.";
constexpr const wchar_t* kTooLarge = L"Release excede limite de tamanho.";
constexpr const wchar_t* kConflict = L"Arquivo conflita com diretorio.";
constexpr const wchar_t* kIncomplete = L"Manifesto sem init.lua ou backend selecionado.";
constexpr const wchar_t* kEscapes = L"Destino de download escapa da pasta permitida ou contem redirecionamento.";
constexpr const wchar_t* kNotRegular = L"Destino de download existente nao e um arquivo regular.";

struct Listed {
    std::string path;
    std::uint64_t size = 1;
};

class ManifestPolicy : public testing::Test {
 protected:
    ManifestPolicy() {
        machine.install({});
        options = std::make_unique<vandrel::LaunchOptions>(machine.options());
    }

    bool managed(const std::string& path) const { return vandrel::is_managed_path({path, 0, {}}, *options); }
    // The failure over a complete release that begins with `listed`.
    std::wstring verdict(std::vector<Listed> listed, std::uint32_t release = 1, bool complete = true) {
        if (complete) listed.insert(listed.end(), {{"init.lua", 0}, {"brindler_dx_x64.exe", 0}});
        std::vector<vandrel::ManifestEntry> entries;
        for (const Listed& file : listed) entries.push_back({file.path, file.size, {}});
        return machine.refusal([&] { vandrel::validate_manifest_policy(entries, release, *options); });
    }

    DirectMachine machine;
    std::unique_ptr<vandrel::LaunchOptions> options;
};

TEST_F(ManifestPolicy, manages_three_folders_and_the_named_files_whatever_their_ascii_case) {
    for (const char* path : {"data/a",
                             "Data/A",
                             "DATA/a/b/c.png",
                             "modules/a",
                             "layouts/a",
                             "init.lua",
                             "INIT.LUA",
                             "Vandrel Updater.exe",
                             "d3dcompiler_47.dll",
                             "vcruntime140.dll",
                             "vcruntime140_1.dll",
                             "brindler_dx_x64.exe",
                             "Brindler_GL_x64.exe",
                             "data/com10",
                             "data/com0",
                             "data/lpt0",
                             "data/conx",
                             "data/.con",
                             "data/con_x",
                             "data/con .txt",
                             "data/ a",
                             "data/a b.txt",
                             "data/..a",
                             "data/\xC3\xA7",
                             "data/a\x7F"}) {
        EXPECT_TRUE(managed(path)) << path;
    }
}

TEST_F(ManifestPolicy, manages_no_other_name_and_none_that_windows_reads_in_another_way) {
    for (const char* path : {"",
                             "data",
                             "data/",
                             "modules",
                             "modulesx/a",
                             "other/a",
                             "a",
                             "init.luax",
                             "x/init.lua",
                             "brindler_dx_x86.exe",
                             "brindler_gl_x86.exe",
                             "brindler_vk_x64.exe",
                             "brindler_dx.exe",
                             "data/con",
                             "data/CON.txt",
                             "data/prn",
                             "data/a/lpt9.x.y",
                             "data/clock$",
                             "data/NUL/x",
                             "data/com1.tar.gz",
                             "data/aux.c",
                             "data/a.",
                             "data/a ",
                             "data/a./b",
                             "data/a /b",
                             "data/./a",
                             "data/../x",
                             "../x",
                             "data//a",
                             "data/a/",
                             "data/a//",
                             "data\\a",
                             "data/a\\b",
                             "/data/a",
                             "\\data/a",
                             "C:data/a",
                             "C:/data/a",
                             "data/a:b",
                             "data/a*b",
                             "data/a<b",
                             "data/a>b",
                             "data/a\"b",
                             "data/a|b",
                             "data/a?b",
                             "data/a\nb",
                             "data/a\x1F",
                             "data/\xFF",
                             "data/\xC0\xAF",
                             "data/\xED\xA0\x80",
                             "//server/data/a"}) {
        EXPECT_FALSE(managed(path)) << path;
    }
    EXPECT_FALSE(managed(std::string("data/a\0b", 8)));
}

TEST_F(ManifestPolicy, manages_paths_of_220_units_and_none_longer) {
    const std::string pair = "\xF0\x9F\x8E\xAE";  // two units, four bytes
    EXPECT_TRUE(managed("data/" + std::string(215, 'x')));
    EXPECT_FALSE(managed("data/" + std::string(216, 'x')));
    EXPECT_TRUE(managed("data/" + std::string(213, 'x') + pair));
    EXPECT_FALSE(managed("data/" + std::string(214, 'x') + pair));
}

TEST_F(ManifestPolicy, manages_the_executables_of_the_other_architecture_for_that_one) {
    options->arch = L"32";
    EXPECT_TRUE(managed("brindler_gl_x86.exe"));
    EXPECT_FALSE(managed("brindler_gl_x64.exe"));
}

TEST_F(ManifestPolicy, takes_a_relative_path_of_4096_units_and_none_longer) {
    const std::wstring longest(4096, L'x');
    EXPECT_TRUE(vandrel::is_safe_relative_path(longest));
    EXPECT_FALSE(vandrel::is_safe_relative_path(longest + L"x"));
    EXPECT_TRUE(vandrel::is_safe_relative_path(L"a\\b//c"));  // as such; the manifest's own rules are stricter
    EXPECT_FALSE(vandrel::is_safe_relative_path(L"a\\..\\b"));
    EXPECT_FALSE(vandrel::is_safe_relative_path(L"a/b/"));
}

TEST_F(ManifestPolicy, refuses_a_release_that_is_empty_or_lacks_the_script_or_this_client) {
    EXPECT_EQ(verdict({}), L"");
    EXPECT_EQ(verdict({}, 0), kEmpty);
    EXPECT_EQ(verdict({}, 1, false), kEmpty);
    EXPECT_EQ(verdict({{"init.lua"}, {"brindler_gl_x64.exe"}}, 1, false), kIncomplete);
    EXPECT_EQ(verdict({{"brindler_dx_x64.exe"}}, 1, false), kIncomplete);
    EXPECT_EQ(verdict({{"INIT.lua"}, {"Brindler_DX_x64.EXE"}}, 1, false), L"");
}

TEST_F(ManifestPolicy, stops_at_the_first_breach_in_the_order_of_the_checks) {
    auto& disk = machine.world.disk;
    disk.make_junction(L"C:\\Game\\data\\link", L"C:\\Game\\modules");
    disk.make_folder(L"C:\\Game\\data\\folder");
    disk.make_junction(L"C:\\Game\\data\\folder.lnk", L"C:\\Users");
    const std::uint64_t over = 4 * kGiB + 1;
    const struct {
        const char* name;
        std::vector<Listed> files;
        std::wstring error;
    } rows[] = {{"unmanaged before all", {{"data/a"}, {"data/A\\"}, {"data/a", over}}, kUnmanaged},
                {"repeated before its size", {{"data/a.png"}, {"Data/A.PNG", over}}, kRepeated},
                {"size before its place", {{"data/link/x", over}}, kTooLarge},
                {"place before its ancestors", {{"data/link"}}, kNotRegular},
                {"behind a junction", {{"data/link/x"}}, kEscapes},
                {"over a folder", {{"data/folder"}}, kNotRegular},
                {"over a junction", {{"data/folder.lnk"}}, kNotRegular},
                {"a file before what lies beneath", {{"data/a"}, {"data/a/b"}}, kConflict},
                {"far beneath", {{"data/a"}, {"data/a/b/c/d"}, {"bad"}}, kConflict},
                {"a file behind what lies beneath", {{"data/a/b"}, {"data/a"}}, kConflict},
                {"the later check behind the entries", {{"data/a/b"}, {"data/a"}, {"bad"}}, kUnmanaged},
                {"in another case", {{"Data/a"}, {"data/A/b"}}, kConflict},
                {"with a name between", {{"data/a/b"}, {"data/a-x"}, {"data/a"}}, kConflict},
                {"a common beginning is none", {{"data/a"}, {"data/ab"}, {"data/a.b"}, {"data/a-/x"}}, L""},
                {"other letters are other paths", {{"data/\xC3\x87"}, {"data/\xC3\xA7"}}, L""},
                {"conflict before completeness", {{"init.lua"}, {"data/a/b"}, {"data/a"}}, kConflict}};
    for (const auto& row : rows) {
        const bool complete = row.files.front().path != "init.lua";
        EXPECT_EQ(verdict(row.files, 1, complete), row.error) << row.name;
    }
}

TEST_F(ManifestPolicy, finds_a_conflict_among_names_beyond_the_basic_plane) {
    // U+E000 and U+1F3AE sort the other way in UTF-16 than in UTF-8.
    const std::string low = "data/\xEE\x80\x80";
    const std::string high = "data/\xF0\x9F\x8E\xAE";
    EXPECT_EQ(verdict({{low + "/x"}, {high}, {low}}), kConflict);
    EXPECT_EQ(verdict({{high + "/x"}, {low}, {high}}), kConflict);
    EXPECT_EQ(verdict({{high}, {low}, {high + "x"}, {low + "x"}}), L"");
}

TEST_F(ManifestPolicy, allows_files_of_4_gib_and_releases_of_16_gib_and_not_a_byte_more) {
    const std::vector<Listed> four = {
        {"data/a", 4 * kGiB}, {"data/b", 4 * kGiB}, {"data/c", 4 * kGiB}, {"data/d", 4 * kGiB - 1}};
    const struct {
        std::uint64_t size;
        bool alone, on_top;
    } rows[] = {{0, true, true},
                {1, true, true},
                {2, true, false},
                {4 * kGiB, true, false},
                {4 * kGiB + 1, false, false},
                {UINT64_MAX, false, false}};
    for (const auto& row : rows) {
        EXPECT_EQ(verdict({{"data/x", row.size}}), row.alone ? L"" : kTooLarge) << row.size;
        std::vector<Listed> files = four;
        files.push_back({"data/x", row.size});
        EXPECT_EQ(verdict(files), row.on_top ? L"" : kTooLarge) << row.size;
    }
}

}  // namespace
}  // namespace support
