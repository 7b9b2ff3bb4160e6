// What `publish` refuses, in which words; and that a refusal leaves the tree as it was.
#include <sys/stat.h>
#include <unistd.h>

#include <tuple>

#include "release_test.h"

namespace release_test {
namespace {

class RefusedReleases : public ReleaseTest {
 protected:
    RefusedReleases() {
        make_folder(smallest_client());
        EXPECT_EQ(publish("5").exit_code, 0);
        before_ = everything_in(tree_);
    }

    // `lines` stand below each other, each without the tool's name.
    void expect_refusal(const std::string& release, const std::vector<std::string>& more, const std::string& lines,
                        int exit_code = 1) {
        const Outcome outcome = publish(release, more);
        EXPECT_EQ(outcome.exit_code, exit_code);
        EXPECT_EQ(outcome.out, "");
        std::string expected = "vandrel-release: " + lines + "\n";
        for (std::size_t at = 0; (at = expected.find("\n", at)) + 1 < expected.size(); ++at) {
            expected.insert(at + 1, "vandrel-release: ");
        }
        EXPECT_EQ(outcome.err, expected);
        EXPECT_EQ(everything_in(tree_), before_);
    }

    Files before_;
};

TEST_F(RefusedReleases, a_folder_that_the_helper_would_not_install_is_refused_in_the_helpers_words) {
    const std::string unmanaged = ": Caminho nao gerenciado no manifesto.";
    const std::string twice = ": Caminho repetido no manifesto.";
    const std::string conflict = ": Arquivo conflita com diretorio.";
    const std::tuple<Files, std::string, std::string> table[] = {
        {{{"readme.txt", ""}}, "", "readme.txt" + unmanaged},
        {{{"data/a\nb", ""}}, "", "data/a\\x0Ab" + unmanaged},
        {{{"data/\xC3\x28", ""}}, "", "data/\\xC3(" + unmanaged},
        {{{"Data/A.png", ""}, {"data/a.PNG", ""}}, "", "data/a.PNG" + twice},
        {{{"Data/b", ""}, {"data/b/c", ""}, {"data/b/d", ""}}, "", "data/b/c" + conflict + "\ndata/b/d" + conflict},
        {{{"DATA/b/c", ""}, {"data/b", ""}, {"data/d", ""}}, "", "data/b" + conflict},
        {{}, "init.lua", "brindler_dx_x64.exe: Manifesto sem init.lua ou backend selecionado."},
        {{{"data/a", ""}}, "brindler_dx_x64.exe", "the folder holds no client executable"},
        {{{"data/A", ""}, {"data/a", ""}, {"data/con", ""}, {"data/e/\xFF", ""}, {"readme", ""}, {"z", ""}},
         "brindler_dx_x64.exe",
         "data/a" + twice + "\ndata/con" + unmanaged + "\ndata/e/\\xFF" + unmanaged + "\nreadme" + unmanaged +
             "\nthe folder holds no client executable\nz" + unmanaged}};
    for (const auto& [added, removed, lines] : table) {
        Files client = smallest_client();
        client.insert(added.begin(), added.end());
        client.erase(removed);
        make_folder(client);
        expect_refusal("6", {}, lines);
    }
}

TEST_F(RefusedReleases, names_that_windows_holds_for_one_are_refused_where_the_helper_has_no_words) {
    const std::pair<Files, std::string> table[] = {
        {{{"data/\u00c1.png", ""}, {"data/\u00e1.png", ""}},
         "data/\u00e1.png: Windows takes this name and data/\u00c1.png for one"},
        {{{"data/\u042f", ""}, {"data/\u044f/x", ""}},
         "data/\u044f/x: Windows takes a folder of this path and the file data/\u042f for one"},
        {{{"data/\u042f/x", ""}, {"data/\u044f", ""}},
         "data/\u044f: Windows takes this file and a folder of data/\u042f/x for one"}};
    for (const auto& [added, line] : table) {
        Files client = smallest_client();
        client.insert(added.begin(), added.end());
        make_folder(client);
        expect_refusal("6", {}, line);
    }
}

TEST_F(RefusedReleases, of_many_refusals_forty_are_shown_and_the_rest_is_counted) {
    Files client = smallest_client();
    std::string lines;
    for (int i = 100; i < 145; ++i) {
        client[std::to_string(i)] = "";
        if (i < 140) lines += std::to_string(i) + ": Caminho nao gerenciado no manifesto.\n";
    }
    make_folder(client);
    expect_refusal("6", {}, lines + "and 5 more");
}

TEST_F(RefusedReleases, more_files_than_a_manifest_holds_are_refused_before_anything_is_asked_of_them) {
    write(folder_ / "unmanaged/0", "");  // a file can't have more than 65000 names
    write(folder_ / "unmanaged/1", "");
    for (int i = 0; i < 99998; ++i) {
        fs::create_hard_link(folder_ / "unmanaged" / std::to_string(i % 2), folder_ / ("u" + std::to_string(i)));
    }
    expect_refusal("6", {}, "the folder holds more than 100000 files, which is what a manifest holds at most");
}

TEST_F(RefusedReleases, a_release_over_16_gib_in_all_is_refused_before_a_byte_is_copied) {
    for (const char* name : {"data/0", "data/1", "data/2", "data/3"}) {
        write(folder_ / name, "");
        fs::resize_file(folder_ / name, 4294967296);
    }
    expect_refusal("6", {}, "data/3: Release excede limite de tamanho.");  // the executables come first
}

TEST_F(RefusedReleases, the_release_must_fit_every_client_that_is_named) {
    expect_refusal("6", {"--client", "brindler_dx_x64.exe", "--client", "brindler_gl_x64.exe"},
                   "brindler_gl_x64.exe: Manifesto sem init.lua ou backend selecionado.");
    expect_refusal("6", {"--client", "init.lua"}, "init.lua: no client executable of channel 64");
    expect_refusal("6", {"--client", "Brindler_DX_x64.exe"}, "Brindler_DX_x64.exe: no client executable of channel 64");
}

TEST_F(RefusedReleases, only_plain_files_and_folders_that_can_be_read_are_taken) {
    fs::create_directories(folder_ / "data");
    fs::create_symlink("nowhere", folder_ / "data/link");
    ::mkfifo((folder_ / "data/pipe").c_str(), 0600);
    expect_refusal("6", {},
                   "data/link: a symbolic link cannot be part of a release\ndata/pipe: neither a file nor a folder");
    make_folder(smallest_client());
    write(folder_ / "data/closed", "");
    write(folder_ / "modules/x", "");
    fs::permissions(folder_ / "data/closed", fs::perms::none);
    fs::permissions(folder_ / "modules", fs::perms::none);
    fs::permissions(top_, fs::perms::all);
    const bool is_root = ::chown(private_key().c_str(), 65534, 65534) == 0 && ::seteuid(65534) == 0;  // may read all
    expect_refusal("6", {},
                   "data/closed: cannot be read: Permission denied\nmodules/: cannot be read: Permission denied");
    EXPECT_TRUE(!is_root || ::seteuid(0) == 0);
    fs::permissions(folder_ / "modules", fs::perms::all);
    make_folder({});
    expect_refusal("6", {}, folder_.string() + " is not a folder");
}

TEST_F(RefusedReleases, the_tree_and_the_key_lie_outside_the_client_folder) {
    fs::create_directory_symlink(top_, top_ / "link");
    const fs::path key = private_key();
    fs::create_directories(folder_ / "data");
    fs::copy(key, folder_ / "data/key.pem");
    const std::tuple<fs::path, fs::path, std::string> table[] = {
        {folder_ / "data/tree", key, "the tree lies in the client folder"},
        {folder_, key, "the tree lies in the client folder"},
        {"new tree", key, "the tree lies in the client folder"},
        {top_ / "link", key, "the client folder lies in the tree"},
        {tree_, top_ / "link/client/data/key.pem", "the private key lies in the client folder"}};
    const fs::path before = fs::current_path();
    fs::current_path(folder_);
    for (const auto& [tree, key_file, line] : table) {
        const Outcome outcome = run({"publish", "--folder", folder_.string(), "--tree", tree.string(), "--release", "6",
                                     "--key", key_file.string()});
        EXPECT_EQ(outcome.err, "vandrel-release: " + line + "\n");
        EXPECT_EQ(outcome.exit_code, 1);
    }
    fs::current_path(before);
    EXPECT_EQ(everything_in(tree_), before_);
    EXPECT_FALSE(fs::exists(folder_ / "data/tree"));
}

TEST_F(RefusedReleases, numbers_and_channels_are_checked) {
    for (const char* number : {"0", "010", "0x2A", "+6", "6 ", " 6", "4294967296", ""}) {
        const std::string shown = "\"" + std::string(number) + "\"";
        expect_refusal(number, {}, shown + " is no release number, which is 1 to 4294967295 in plain decimal", 2);
    }
    expect_refusal("6", {"--arch", "32"}, "there is no channel 32; the only one is 64");
}

}  // namespace
}  // namespace release_test
