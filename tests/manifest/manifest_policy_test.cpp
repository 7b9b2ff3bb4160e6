#include "manifest/manifest_policy.h"

#include <gtest/gtest.h>

#include <sstream>
#include <tuple>

#include "tests/support/direct.h"

namespace support {
namespace {

constexpr const wchar_t* kEmpty = L"Release vazia ou invalida.";
constexpr const wchar_t* kUnmanaged = L"Caminho nao gerenciado no manifesto.";
constexpr const wchar_t* kRepeated = L"Caminho repetido no manifesto.";
constexpr const wchar_t* kTooLarge = L"Release excede limite de tamanho.";
constexpr const wchar_t* kConflict = L"Arquivo conflita com diretorio.";
constexpr const wchar_t* kIncomplete = L"Manifesto sem init.lua ou backend selecionado.";
constexpr const wchar_t* kEscapes = L"Destino de download escapa da pasta permitida ou contem redirecionamento.";
constexpr const wchar_t* kNotRegular = L"Destino de download existente nao e um arquivo regular.";

std::vector<std::string> words(const std::string& text) {
    std::istringstream stream(text);
    return {std::istream_iterator<std::string>(stream), {}};
}

class ManifestPolicy : public testing::Test {
 protected:
    ManifestPolicy() : options(machine.options()) { machine.install({}); }

    void expect_managed(bool is_managed, const std::vector<std::string>& paths) const {
        for (const std::string& path : paths) {
            EXPECT_EQ(vandrel::is_managed_path({path, 0, {}}, options), is_managed) << path;
        }
    }
    // The breach, "2 text" for the third entry's, in a release of these files: "path" or "path=size", the size else 1.
    std::wstring breach(const std::string& files, std::uint32_t release = 1) {
        const std::vector<std::string> listed = words(files);
        std::vector<vandrel::ManifestEntry> entries;
        for (const std::string_view file : listed) {
            const std::size_t equals = file.find('=');
            const bool sized = equals != std::string_view::npos;
            entries.push_back(
                {file.substr(0, equals), sized ? std::stoull(std::string(file.substr(equals + 1))) : 1, {}});
        }
        const auto found = vandrel::find_policy_breach(entries, release, options);
        const std::wstring thrown =
            machine.refusal([&] { vandrel::validate_manifest_policy(entries, release, options); });
        EXPECT_EQ(thrown, found ? found->text : L"") << files;
        if (!found) return L"";
        return found->index ? std::to_wstring(*found->index) + L" " + found->text : found->text;
    }

    DirectMachine machine;
    vandrel::LaunchOptions options;
};

TEST_F(ManifestPolicy, manages_three_folders_and_the_named_files_whatever_their_ascii_case) {
    expect_managed(true, words("data/a Data/A DATA/a/b/c.png modules/a layouts/a init.lua INIT.LUA d3dcompiler_47.dll "
                               "vcruntime140.dll vcruntime140_1.dll brindler_dx_x64.exe Brindler_GL_x64.exe data/com10 "
                               "data/com0 data/lpt0 data/conx data/.con data/con_x data/clock data/..a data/\xC3\xA7"));
    expect_managed(true, {"Vandrel Updater.exe", "data/con .txt", "data/ a", "data/a b.txt", "data/a\x7F"});
    options.arch = L"32";
    expect_managed(true, {"brindler_gl_x86.exe"});
    expect_managed(false, {"brindler_gl_x64.exe"});
}

TEST_F(ManifestPolicy, manages_no_other_name_and_none_that_windows_reads_in_another_way) {
    expect_managed(false, words(R"(data data/ modules modulesx/a other/a a init.luax x/init.lua brindler_dx_x86.exe
                                   brindler_gl_x86.exe brindler_vk_x64.exe brindler_dx.exe data/a. data/a./b data/./a
                                   data/../x ../x data//a data/a/ data/a// data\a data/a\b /data/a \data/a C:data/a
                                   C:/data/a data/a:b data/a*b data/a<b data/a>b data/a"b data/a|b data/a?b
                                   //server/data/a)"));
    expect_managed(false, {"", "data/a ", "data/a /b", "data/a\nb", "data/a\x1F", "data/\xFF", "data/\xC0\xAF",
                           "data/\xED\xA0\x80", std::string("data/a\0b", 8)});
    for (const std::string& device : words("con prn aux nul clock$ com1 com2 com3 com4 com5 com6 com7 com8 com9 lpt1 "
                                           "lpt2 lpt3 lpt4 lpt5 lpt6 lpt7 lpt8 lpt9 CON Aux COM1 Lpt9 CLOCK$")) {
        expect_managed(false, {"data/" + device, "data/" + device + ".tar.gz", "data/" + device + "/x"});
    }
}

TEST_F(ManifestPolicy, manages_paths_of_220_units_and_takes_relative_ones_of_4096_and_none_longer) {
    const std::string pair = "\xF0\x9F\x8E\xAE";  // two units, four bytes
    expect_managed(true, {"data/" + std::string(215, 'x'), "data/" + std::string(213, 'x') + pair});
    expect_managed(false, {"data/" + std::string(216, 'x'), "data/" + std::string(214, 'x') + pair});
    const std::wstring longest(4096, L'x');
    EXPECT_TRUE(vandrel::is_safe_relative_path(longest));
    EXPECT_TRUE(vandrel::is_safe_relative_path(L"a\\b//c"));  // as such; the manifest's own rules are stricter
    const std::wstring refused[] = {longest + L"x", L"", L"a\\..\\b", L"a/b/", L"/a", L"\\a", std::wstring(L"a\0b", 3)};
    for (const std::wstring& path : refused) EXPECT_FALSE(vandrel::is_safe_relative_path(path));
}

TEST_F(ManifestPolicy, refuses_a_release_that_is_empty_or_lacks_the_script_or_this_client) {
    EXPECT_EQ(breach("init.lua brindler_dx_x64.exe", 0), kEmpty);
    EXPECT_EQ(breach(""), kEmpty);
    EXPECT_EQ(breach("brindler_dx_x64.exe"), kIncomplete);
    EXPECT_EQ(breach("init.lua brindler_gl_x64.exe"), kIncomplete);
    EXPECT_EQ(breach("INIT.LUA Brindler_DX_x64.exe"), L"");
}

TEST_F(ManifestPolicy, blames_the_first_entry_that_breaks_a_rule_in_the_order_of_the_checks) {
    auto& disk = machine.world.disk;
    disk.make_junction(L"C:\\Game\\data\\link", L"C:\\Game\\modules");
    disk.make_folder(L"C:\\Game\\data\\folder");
    const std::tuple<const char*, std::wstring, const wchar_t*> rows[] = {
        {"data/a data/A\\ data/a=4294967297", L"1 ", kUnmanaged},
        {"data/a.png Data/A.PNG=4294967297", L"1 ", kRepeated},
        {"data/z data/x data/Z", L"2 ", kRepeated},
        {"data/link/x=4294967297", L"0 ", kTooLarge},
        {"data/a data/link/x", L"1 ", kEscapes},
        {"data/link data/link/x", L"0 ", kNotRegular},
        {"data/folder", L"0 ", kNotRegular},
        {"data/x data/a data/y data/a/b", L"3 ", kConflict},
        {"data/a data/a/b/c/d bad", L"1 ", kConflict},
        {"data/x data/a/b data/y data/a", L"3 ", kConflict},
        {"data/a/b data/a bad", L"2 ", kUnmanaged},
        {"data/a/b data/a data/a/c bad", L"2 ", kConflict},
        {"Data/a data/A/b", L"1 ", kConflict},
        {"data/A/b Data/a", L"1 ", kConflict},
        {"data/a/b data/a-x data/a", L"2 ", kConflict},
        {"init.lua data/a/b data/a", L"2 ", kConflict},
        {"data/\xEE\x80\x80/x data/\xF0\x9F\x8E\xAE data/\xEE\x80\x80", L"2 ", kConflict},
        {"data/\xF0\x9F\x8E\xAE/x data/\xEE\x80\x80 data/\xF0\x9F\x8E\xAE", L"2 ", kConflict}};
    for (const auto& [files, index, text] : rows) EXPECT_EQ(breach(files), index + text) << files;
    // A common beginning is no conflict, and other letters are other paths.
    EXPECT_EQ(breach("data/a data/ab data/a.b data/a-/x data/\xC3\x87 data/\xC3\xA7 data/; data/[ data/{ data/@ data/` "
                     "init.lua brindler_dx_x64.exe"),
              L"");
}

TEST_F(ManifestPolicy, allows_files_of_4_gib_and_releases_of_16_gib_and_not_a_byte_more) {
    const std::string client = "init.lua=0 brindler_dx_x64.exe=0 ";
    const std::string four = "data/a=4294967296 data/b=4294967296 data/c=4294967296 data/d=4294967295 ";
    const std::tuple<const char*, bool, bool> rows[] = {{"0", true, true},
                                                        {"1", true, true},
                                                        {"2", true, false},
                                                        {"4294967296", true, false},
                                                        {"4294967297", false, false},
                                                        {"18446744073709551615", false, false}};
    for (const auto& [size, alone, on_top] : rows) {
        EXPECT_EQ(breach(client + "data/x=" + size), alone ? L"" : std::wstring(L"2 ") + kTooLarge) << size;
        EXPECT_EQ(breach(client + four + "data/x=" + size), on_top ? L"" : std::wstring(L"6 ") + kTooLarge) << size;
    }
}

}  // namespace
}  // namespace support
