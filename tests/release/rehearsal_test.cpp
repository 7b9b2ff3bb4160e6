// What `rehearse` finds in a tree before a player does. The trees are made by hand, since `publish` refuses some of
// them.
#include <cstdio>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>

#include "build_config.h"
#include "release_test.h"
#include "tests/support/machine.h"

namespace release_test {
namespace {

// A helper that was built with another key.
std::string strange_helper() {
    std::string program = helper_program();
    const std::string modulus(vandrel::kPublicModulus.begin(), vandrel::kPublicModulus.end());
    program[program.find(modulus) + 7] ^= 1;
    return program;
}

Files release_one() {
    return {{"init.lua", "1"},
            {"brindler_dx_x64.exe", "dx 1"},
            {"Vandrel Updater.exe", helper_program()},
            {"data/big.dat", std::string(100000, '1')}};
}

Files release_two() {
    Files files = release_one();
    files["init.lua"] = "22";
    files["data/big.dat"] = std::string(200000, '2');
    files["modules/novo/São João.lua"] = "3";
    return files;
}

class Rehearse : public ReleaseTest {
 protected:
    void keep(std::uint32_t number, const Files& files) {
        const fs::path folder = tree_ / "64/releases" / std::to_string(number);
        write(folder / "manifest.bin", support::manifest_of(number, files));
        const fs::path keys = fs::path(VANDREL_DEVELOPMENT_KEY).parent_path();
        write(folder / "public.pem", read(keys / "development_public.pem"));
        for (const auto& [path, content] : files) write(folder / "files" / path, content);
    }
    Outcome rehearse(const std::string& to, const std::vector<std::string>& more = {}) {
        std::vector<std::string> arguments{"rehearse", "--tree", tree_.string(), "--to", to};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return run(arguments);
    }
};

TEST_F(Rehearse, a_good_release_reaches_players_of_each_old_one_whatever_happens_on_the_way) {
    Files first = release_one();
    first["brindler_gl_x64.exe"] = "gl 1";
    first["data/left behind.dat"] = "of release 1";
    keep(1, first);
    keep(2, release_one());
    keep(3, release_two());
    const Files before = everything_in(tree_);
    const Outcome outcome = rehearse("3", {"--from", "2"});
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.out,
              "release 2, brindler_dx_x64.exe: 3 files, 200003 bytes to fetch, 202526 bytes of disk at the peak, "
              "5 requests\n"
              "  update: held, current 'Atualizacao instalada.'\n"
              "  cancelled: held, cancelled 'Atualizacao cancelada.'\n"
              "  server gone: held, error 'Falha HTTP no download (Windows 12007)'\n"
              "  disk full: held, error 'Falha ao gravar arquivo parcial (Windows 112)'\n"
              "rehearsed release 3: 4 stories, all held\n");
    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(everything_in(tree_), before);
}

struct Trouble {
    const char* what;
    std::function<void(Files& from, Files& to)> plan;
    std::function<void(const fs::path& to)> damage;  // in the folder of the new release's files
    const char* said;
};

TEST_F(Rehearse, what_would_fail_on_players_machines_fails_here_in_the_helpers_own_words) {
    const auto sound = [](const fs::path&) {};
    const auto same = [](Files&, Files&) {};
    const std::vector<Trouble> table{
        {"a file turned folder", [](Files& from, Files& to) { from["data/mapa"] = to["data/mapa/norte"] = "m"; }, sound,
         "error 'Falha local no atualizador. Seus arquivos de recuperacao foram preservados.'"},
        {"a folder turned file", [](Files& from, Files& to) { from["data/mapa/norte"] = to["data/mapa"] = "m"; }, sound,
         "error 'Destino de download existente nao e um arquivo regular.'"},
        {"a helper with another key", [](Files& from, Files&) { from["Vandrel Updater.exe"] = strange_helper(); },
         sound, "error 'Assinatura digital do manifesto rejeitada.' (the helper was built with another key)"},
        {"a helper with another endpoint",
         [](Files& from, Files&) {
             from["Vandrel Updater.exe"] = helper_program("https://old.example/client-brd/updater.php");
         },
         sound,
         "error 'Falha HTTP no download (Windows 12007)' "
         "(the helper asks https://old.example/client-brd/updater.php)"},
        {"no helper", [](Files& from, Files&) { from.erase("Vandrel Updater.exe"); }, sound,
         "error 'Falha HTTP no download (Windows 12007)' (the helper is missing)"},
        {"a new helper with another key", [](Files&, Files& to) { to["Vandrel Updater.exe"] = strange_helper(); },
         sound,
         "the next start said error 'Assinatura digital do manifesto rejeitada.' (the helper was built with another "
         "key)"},
        {"a damaged file", same, [](const fs::path& to) { write(to / "data/big.dat", std::string(200000, '3')); },
         "error 'SHA-256 incremental difere do manifesto.'"},
        {"a missing file", same, [](const fs::path& to) { fs::remove(to / "data/big.dat"); },
         "error 'Servidor respondeu HTTP 500.'"},
        {"two names that are one", [](Files&, Files& to) { to["data/Á.png"] = "A", to["data/á.png"] = "a"; }, sound,
         "error 'Arquivo preparado nao confere antes da instalacao.'"},
        {"no client", [](Files&, Files& to) { to.erase("brindler_dx_x64.exe"); }, sound,
         "error 'Manifesto sem init.lua ou backend selecionado.'"},
    };
    for (const Trouble& row : table) {
        fs::remove_all(tree_);
        Files from = release_one();
        Files to = release_two();
        row.plan(from, to);
        keep(1, from);
        keep(2, to);
        row.damage(tree_ / "64/releases/2/files");
        const Outcome outcome = rehearse("2");
        const std::string line = "vandrel-release: release 1, brindler_dx_x64.exe, update: ";
        EXPECT_EQ(outcome.err, line + row.said + "\n") << row.what;
        EXPECT_EQ(outcome.exit_code, 1) << row.what;
    }
}

TEST_F(Rehearse, power_cuts_in_the_middle_are_tried_counted_and_replayed) {
    Files second = release_one();
    second["init.lua"] = "22";
    keep(1, release_one());
    keep(2, second);
    const auto all = nlohmann::json::parse(rehearse("2", {"--json", "--cuts"}).out).at("players").at(0).at("cuts");
    EXPECT_EQ(all.at("all"), true);
    EXPECT_EQ(all.at("violations"), nlohmann::json::array());
    for (const char* end : {"oldRelease", "newRelease", "toBeTakenBack", "putBackByHand"}) {
        EXPECT_GT(all.at(end), 2) << end;
    }
    EXPECT_GT(all.at("cases"), 1000);

    const Outcome sample = rehearse("2", {"--cuts", "7"});
    EXPECT_NE(sample.out.find("  power cuts: held, a sample of 7; what they left: "), std::string::npos) << sample.out;
    EXPECT_EQ(rehearse("2", {"--cuts", "7"}).out, sample.out);

    EXPECT_EQ(rehearse("2", {"--replay", "1/brindler_dx_x64.exe:c100a-0/0+kept"}).out, "whole\n");
    EXPECT_EQ(rehearse("2", {"--replay", "1:c100a"}).err, "vandrel-release: no case to replay: 1:c100a\n");
}

// What a browser makes of a page.
std::string shown_by_browser(const fs::path& page) {
    const std::string command =
        "chromium --headless --no-sandbox --disable-gpu "
        "--user-data-dir='" +
        page.parent_path().string() + "/profile' --dump-dom 'file://" + page.string() + "' 2>/dev/null";
    const std::unique_ptr<FILE, decltype(&::pclose)> pipe(::popen(command.c_str(), "r"), ::pclose);
    std::string shown;
    char piece[4096];
    while (const std::size_t count = std::fread(piece, 1, sizeof piece, pipe.get())) shown.append(piece, count);
    return shown;
}

TEST_F(Rehearse, the_page_shows_each_story_and_what_failed) {
    keep(1, release_one());
    keep(2, release_two());
    Files strange = release_one();
    strange["Vandrel Updater.exe"] = strange_helper();
    keep(3, strange);
    EXPECT_EQ(rehearse("2", {"--line", "1", "--cuts", "3", "--html", (top_ / "page.html").string()}).exit_code, 1);
    const std::string shown = shown_by_browser(top_ / "page.html");
    for (const char* part :
         {"<title>Rehearsal of release 2</title>", "From release 1 <span class=\"soft\">brindler_dx_x64.exe</span>",
          "<span>200,003 bytes</span>", "style=\"width:98%\"",
          "<h3>server gone <span class=\"mark held\">held</span></h3>",
          "<b>handoff</b>1.7 s<br>Arquivos verificados. Reiniciando o cliente...</li>", "A sample of 3 cuts",
          "<pre class=\"failed\">error 'Assinatura digital do manifesto rejeitada.' (the helper was built with another "
          "key)"}) {
        EXPECT_NE(shown.find(part), std::string::npos) << part << "\n" << shown;
    }
    EXPECT_EQ(read(top_ / "page.html").find("<script"), std::string::npos);
}

}  // namespace
}  // namespace release_test
