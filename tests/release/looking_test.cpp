// What `inspect`, `verify` and `diff` tell of releases and of client folders, and that nobody's manifest can hurt.
#include <sys/stat.h>

#include <functional>
#include <nlohmann/json.hpp>
#include <tuple>

#include "release/manifest_format.h"
#include "release_test.h"

namespace release_test {
namespace {

const std::string kPublic = fs::path(VANDREL_DEVELOPMENT_KEY).replace_filename("development_public.pem").string();

class Looking : public ReleaseTest {
 protected:
    Looking() {
        client_["data/Céu.png"] = "sky";
        make_folder(client_);
        EXPECT_EQ(publish("1").exit_code, 0);
    }
    std::string manifest_path(const char* release) const {
        return (tree_ / "64/releases" / release / "manifest.bin").string();
    }
    // An unsigned manifest of entries of one size.
    std::string manifest_listing(const std::vector<std::string>& paths, std::uint64_t size = 0) {
        std::vector<std::string> entries;
        for (const std::string& path : paths) entries.push_back(support::wire_entry(path, size, support::sha256("")));
        const fs::path file = top_ / "stranger.bin";
        write(file, vandrel_release::finished_manifest(support::signed_range(7, entries), std::string(384, 's')));
        return file.string();
    }

    Files client_ = smallest_client();
};

std::string hex(const std::string& bytes) {
    std::string text;
    for (const char unit : support::sha256(bytes)) {
        const auto byte = static_cast<unsigned char>(unit);
        text += "0123456789abcdef"[byte >> 4U];
        text += "0123456789abcdef"[byte & 15U];
    }
    return text;
}

TEST_F(Looking, a_manifest_is_told_with_its_entries_and_a_signature_only_once_it_is_checked) {
    const std::string path = manifest_path("1");
    const std::string head = "release 1: 3 files, 18 bytes, manifest 568 bytes, SHA-256 " + hex(read(path));
    const std::string entries = hex("client") + " 6 brindler_dx_x64.exe\n" + hex("sky") + " 3 data/Céu.png\n" +
                                hex("print(1)\n") + " 9 init.lua\n";
    EXPECT_EQ(run({"inspect", path}).out, head + ", signature not checked\n" + entries);
    EXPECT_EQ(run({"inspect", path, "--key", kPublic}).out, head + ", signature valid\n" + entries);
    const auto told = nlohmann::json::parse(run({"inspect", "--json", path}).out);
    EXPECT_EQ(told["entries"][1]["path"], "data/Céu.png");
    EXPECT_EQ(told["entries"][1]["sha256"], hex("sky"));
    EXPECT_EQ(told["signature"], "not checked");

    std::string forged = read(path);
    forged[4] = 2;  // the release number
    write(top_ / "forged.bin", forged);
    const Outcome outcome = run({"inspect", (top_ / "forged.bin").string(), "--key", kPublic});
    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_NE(outcome.out.find("signature invalid\n"), std::string::npos);
}

TEST_F(Looking, a_tree_is_told_release_by_release_with_what_is_current_waiting_or_damaged) {
    EXPECT_EQ(publish("2").exit_code, 0);
    EXPECT_EQ(run({"publish", "--without-helper", "--allow-development-key", "--folder", folder_.string(), "--tree",
                   tree_.string(), "--release", "3", "--unsigned", (top_ / "range").string(), "--public", kPublic})
                  .exit_code,
              0);
    const std::string rest = ": 3 files, 18 bytes, manifest 568 bytes, SHA-256 ";
    const auto line = [&](const char* number) {
        return std::string("release ") + number + rest + hex(read(manifest_path(number))) + ", signature valid\n";
    };
    const std::string waits = "        release 3: waits for its signature\n";
    EXPECT_EQ(run({"inspect", tree_.string(), "--key", kPublic}).out,
              "        " + line("1") + "current " + line("2") + waits);
    fs::resize_file(manifest_path("1"), 500);
    const Outcome outcome = run({"inspect", tree_.string(), "--key", kPublic});
    EXPECT_EQ(outcome.out, "        release 1: " + manifest_path("1") + ": the manifest is damaged at byte 184\n" +
                               "current " + line("2") + waits);
    EXPECT_EQ(outcome.exit_code, 1);
    const auto told = nlohmann::json::parse(run({"inspect", "--json", tree_.string()}).out);
    EXPECT_EQ(told["current"], 2);
    EXPECT_EQ(told["waiting"], nlohmann::json({3}));
    EXPECT_EQ(told["releases"][1]["manifest_bytes"], 568);
}

TEST_F(Looking, a_manifest_from_a_stranger_is_shown_without_harm_and_with_what_the_helper_says_to_it) {
    const std::string evil = "data/a\n\x1B[2J\xC2\x9B\xFF";
    const std::string path = manifest_listing({evil, "init.lua", "brindler_gl_x64.exe"});
    const std::string shown = "data/a\\x0A\\x1B[2J\\xC2\\x9B\\xFF";
    const std::string out = run({"inspect", path}).out;
    EXPECT_NE(out.find("refused by the helper: " + shown + ": Caminho nao gerenciado no manifesto.\n"),
              std::string::npos);
    EXPECT_NE(out.find(" 0 " + shown + "\n"), std::string::npos);
    manifest_listing({"data/a", "data/b"}, 9223372036854775808U);
    EXPECT_NE(run({"diff", manifest_path("1"), path}).out.find("; 18446744073709551615 bytes to download\n"),
              std::string::npos);
    manifest_listing({evil, "init.lua", "brindler_gl_x64.exe"});
    const std::string json = run({"inspect", "--json", path}).out;
    EXPECT_NE(json.find(R"("path":"data/a\n\u001b[2J\u009b\ufffd")"), std::string::npos) << json;

    const std::pair<std::string, std::string> table[] = {
        {read(path) + "x", "the manifest is damaged at byte 569"},
        {std::string("QMU2\1\0\0\0\xA1\x86\1\0", 12), "the manifest is damaged at byte 12"},  // 100001 entries
        {"", "the manifest is damaged at byte 0"}};
    for (const auto& [content, text] : table) {
        write(path, content);
        const Outcome outcome = run({"inspect", path});
        EXPECT_EQ(outcome.err, "vandrel-release: " + path + ": " + text + "\n");
        EXPECT_EQ(outcome.exit_code, 1);
    }
    fs::resize_file(path, (16U << 20U) + 1);
    EXPECT_EQ(run({"diff", path, path}).err, "vandrel-release: " + path + " is larger than 16777216 bytes\n");
}

TEST_F(Looking, verify_foresees_what_the_helper_would_do_to_a_folder) {
    const std::string current = "release 1: the folder is current, 3 files\n";
    const std::string refuses = "release 1: the helper would refuse it\n";
    const std::string redirected =
        "conflict data/Céu.png: Destino de download escapa da pasta permitida ou contem redirecionamento.\n" + refuses;
    const std::string unreadable = "conflict init.lua: Arquivo local nao pode ser verificado.\n" + refuses;
    using Change = std::function<void(const fs::path&)>;
    const std::tuple<int, std::string, Change> table[] = {
        {0, current, [](const fs::path& folder) { write(folder / "screenshots/1.png", "the player's"); }},
        {0, current, [](const fs::path& folder) { fs::rename(folder / "data/Céu.png", folder / "data/CÉU.PNG"); }},
        {0, current, [](const fs::path& folder) { fs::rename(folder / "data", folder / "Data"); }},
        {3, "missing data/Céu.png\nchanged init.lua\nrelease 1: 2 of 3 files would be downloaded, 12 bytes\n",
         [](const fs::path& folder) { fs::remove_all(folder / "data"), write(folder / "init.lua", "print(2)\n"); }},
        {3, "changed init.lua\nrelease 1: 1 of 3 files would be downloaded, 9 bytes\n",
         [](const fs::path& folder) { fs::resize_file(folder / "init.lua", 4294967296); }},
        {4, unreadable, [](const fs::path& folder) { fs::resize_file(folder / "init.lua", 4294967297); }},
        {4, "conflict init.lua: Destino de download existente nao e um arquivo regular.\n" + refuses,
         [](const fs::path& folder) { fs::remove(folder / "init.lua"), fs::create_directory(folder / "init.lua"); }},
        {4, redirected,
         [](const fs::path& folder) {
             fs::rename(folder / "data", folder / "elsewhere");
             fs::create_directory_symlink("elsewhere", folder / "data");
         }},
        {4, "conflict data/Céu.png: a file stands where a folder is needed\n" + refuses,
         [](const fs::path& folder) { fs::remove_all(folder / "data"), write(folder / "DATA", "file"); }}};
    for (const auto& [exit_code, out, change] : table) {
        make_folder(client_);
        change(folder_);
        const Outcome outcome =
            run({"verify", "--manifest", tree_.string(), "--key", kPublic, "--folder", folder_.string()});
        EXPECT_EQ(outcome.out + outcome.err, out);
        EXPECT_EQ(outcome.exit_code, exit_code) << out;
    }
}

TEST_F(Looking, verify_believes_the_right_key_alone_and_tells_programs_the_same) {
    const std::vector<std::string> verify{"verify", "--folder", folder_.string(), "--key", kPublic, "--manifest"};
    const auto verified = [&](std::string manifest, const std::vector<std::string>& more) {
        std::vector<std::string> all = verify;
        all.push_back(std::move(manifest));
        all.insert(all.end(), more.begin(), more.end());
        return run(all);
    };
    const std::string stranger = manifest_listing({"init.lua"});
    EXPECT_EQ(verified(stranger, {}).err,
              "vandrel-release: " + stranger + " is not signed with the key in " + kPublic + "\n");
    EXPECT_EQ(verified(stranger, {}).exit_code, 1);
    const Outcome other = verified(manifest_path("1"), {"--client", "brindler_gl_x64.exe", "--json"});
    EXPECT_EQ(other.exit_code, 4);
    EXPECT_EQ(nlohmann::json::parse(other.out)["conflicts"][0],
              "brindler_gl_x64.exe: Manifesto sem init.lua ou backend selecionado.");
    fs::remove(folder_ / "init.lua");
    const Outcome update = verified(manifest_path("1"), {"--json"});
    EXPECT_EQ(update.exit_code, 3);
    const auto told = nlohmann::json::parse(update.out);
    EXPECT_EQ(told["verdict"], "update");
    EXPECT_EQ(told["download_bytes"], 9);
    EXPECT_EQ(told["downloads"][0], (nlohmann::json{{"path", "init.lua"}, {"size", 9}, {"state", "missing"}}));
}

TEST_F(Looking, a_difference_is_what_players_download_and_what_stays_with_them) {
    client_.erase("data/Céu.png");
    client_["INIT.LUA"] = "print(22)\n";
    client_.erase("init.lua");
    client_["data/new"] = "new";
    make_folder(client_);
    ASSERT_EQ(publish("2").err, "");
    const Outcome outcome = run({"diff", manifest_path("1"), tree_.string()});
    EXPECT_EQ(
        outcome.out,
        "added 3 data/new\nchanged 10 INIT.LUA\nstays 3 data/Céu.png\nlargest 10 INIT.LUA\nlargest 3 data/new\n"
        "release 1 to 2: 1 added, 1 changed, 1 gone but staying with players, 1 unchanged; 13 bytes to download\n");
    const auto told =
        nlohmann::json::parse(run({"diff", "--json", manifest_path("1"), (tree_ / "64/releases/2").string()}).out);
    EXPECT_EQ(told["download_bytes"], 13);
    EXPECT_EQ(told["changed"][0], (nlohmann::json{{"path", "INIT.LUA"}, {"size", 10}, {"size_before", 9}}));
    EXPECT_EQ(told["staying"][0], (nlohmann::json{{"path", "data/Céu.png"}, {"size_before", 3}}));
    EXPECT_EQ(told["largest"].size(), 2U);
    EXPECT_EQ(run({"diff", top_.string(), tree_.string()}).err,
              "vandrel-release: " + top_.string() + ": neither a release nor a tree with a current one\n");
}

}  // namespace
}  // namespace release_test
