// What the helper would install and `publish` refuses all the same, with the switch that takes it back.
#include <functional>
#include <tuple>

#include "release/copying.h"
#include "release/helper_image.h"
#include "release/key_file.h"
#include "release/refusal.h"
#include "release_test.h"

namespace release_test {
namespace {

using Strings = std::vector<std::string>;

class Guards : public ReleaseTest {
 protected:
    Guards() {
        fs::copy(fs::path(VANDREL_DEVELOPMENT_KEY).replace_filename("development_public.pem"), top_ / "public.pem");
        write(top_ / "own.pem", vandrel_release::private_pem(own_));
        fs::permissions(top_ / "own.pem", fs::perms::owner_read);
        write(top_ / "own_public.pem", vandrel_release::public_pem(own_));
    }

    // `publish` of a folder with these switches and no others; what it complains of, without the tool's name.
    std::string complaint(const Files& client, const std::string& release, Strings switches) {
        make_folder(client);
        for (std::string& text : switches) {
            if (text.ends_with(".pem")) text.insert(0, top_.string() + "/");
        }
        switches.insert(switches.begin(),
                        {"publish", "--folder", folder_.string(), "--tree", tree_.string(), "--release", release});
        Outcome outcome = run(switches);
        for (std::size_t at = 0; (at = outcome.err.find("vandrel-release: ", at)) != std::string::npos;) {
            outcome.err.erase(at, 17);
        }
        EXPECT_EQ(outcome.exit_code, outcome.err.empty() ? 0 : 1);
        return outcome.err;
    }

    vandrel_release::Key own_ = vandrel_release::make_rsa_key(3072);
};

TEST_F(Guards, a_release_brings_a_helper_that_takes_the_next_one_from_the_right_place) {
    private_key();
    const Strings trial{"--key", "development.pem", "--allow-development-key"};
    const std::string url = "https://a.example/client-brd/updater.php";
    const std::string other = "https://b.example/client-brd/updater.php";
    std::string foreign = helper_program(url);
    foreign[0x90] = static_cast<char>(foreign[0x90] ^ 1);
    std::string other_machine = helper_program(url);
    other_machine[0x44] = 'L';
    const std::string name = "Vandrel Updater.exe: ";
    const std::tuple<Files, Strings, std::string> table[] = {
        {{}, {}, "the folder holds no Vandrel Updater.exe (see --without-helper)\n"},
        {{}, {"--without-helper"}, ""},
        {{{"vandrel UPDATER.exe", foreign}},
         {"--without-helper"},
         "vandrel UPDATER.exe: does not hold the key of this release (see --helper-key)\n"},
        {{{"Vandrel Updater.exe", foreign}},
         {"--helper-key", "public.pem"},
         name + "does not hold the key of --helper-key\n"},
        {{{"Vandrel Updater.exe", helper_program(url)}},
         {"--helper-key", "own_public.pem"},
         name + "does not hold the key of --helper-key\n"},
        {{{"Vandrel Updater.exe", other_machine}}, {}, name + "is no 64-bit Windows program\n"},
        {{{"Vandrel Updater.exe", "MZ"}}, {}, name + "is no 64-bit Windows program\n"},
        {{{"Vandrel Updater.exe", helper_program(url)}},
         {"--url", other},
         name + "asks " + url + ", not " + other + "\n"},
        {{{"Vandrel Updater.exe", helper_program("https://a.example/")}},
         {"--url", url},
         name + "the endpoint that it asks cannot be told\n"},
        {{{"Vandrel Updater.exe", helper_program(url) + helper_program(other)}}, {"--url", url}, ""},
        {{{"Vandrel Updater.exe", helper_program(url)}, {"brindler_GL_x64.exe", ""}},
         {},
         "brindler_GL_x64.exe: must be spelled brindler_gl_x64.exe\n"}};
    int release = 0;
    for (const auto& [added, switches, expected] : table) {
        Files client = smallest_client();
        client.insert(added.begin(), added.end());
        Strings all = trial;
        all.insert(all.end(), switches.begin(), switches.end());
        EXPECT_EQ(complaint(client, std::to_string(++release), all), expected);
    }
}

TEST_F(Guards, the_key_is_nobody_elses_and_the_one_before) {
    private_key();
    const Files client = smallest_client();
    const std::string known =
        "this is the development key, whose private half everybody has (see --allow-development-key)\n";
    EXPECT_EQ(complaint(client, "1", {"--without-helper", "--key", "development.pem"}), known);
    EXPECT_EQ(complaint(client, "1", {"--without-helper", "--unsigned", "range", "--public", "public.pem"}), known);
    const Strings own{"--without-helper", "--key", "own.pem"};
    EXPECT_EQ(complaint(client, "1", own), "");
    EXPECT_EQ(complaint(client, "2", own), "");
    Strings back{"--without-helper", "--key", "development.pem", "--allow-development-key"};
    EXPECT_EQ(complaint(client, "3", back), "release 2, the current one, is signed with another key (see --new-key)\n");
    back.emplace_back("--new-key");
    EXPECT_EQ(complaint(client, "3", back), "");
}

TEST_F(Guards, a_file_does_not_take_a_folders_place_nor_a_folder_a_files) {
    Files client = smallest_client();
    const auto with = [&client](const Files& added) {
        Files all = client;
        all.insert(added.begin(), added.end());
        return all;
    };
    const Strings own{"--without-helper", "--key", "own.pem"};
    Strings allowing = own;
    allowing.emplace_back("--allow-kind-change");
    EXPECT_EQ(complaint(with({{"data/\u00c9", ""}, {"data/b/c/d", ""}, {"data/b/e", ""}}), "1", own), "");
    EXPECT_EQ(complaint(with({{"data/\u00c9", ""}}), "2", own), "");
    const Files changed = with({{"data/\u00e9/x", ""}, {"DATA/B", ""}, {"data/bb", ""}});
    EXPECT_EQ(complaint(changed, "3", own),
              "data/b: a file here, a folder in release 1 (see --allow-kind-change)\n"
              "data/\u00c9: a folder here, a file in release 2 (see --allow-kind-change)\n");
    EXPECT_EQ(complaint(changed, "3", allowing), "");
}

}  // namespace
}  // namespace release_test
