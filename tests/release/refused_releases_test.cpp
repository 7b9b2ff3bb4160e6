// What `publish` refuses, in which words; and that a refusal leaves the tree as it was.
#include <sys/stat.h>

#include <functional>
#include <tuple>

#include "release/signing_key.h"
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

    void expect_refusal(const std::string& release, const std::vector<std::string>& more, const std::string& text) {
        const Outcome outcome = publish(release, more);
        EXPECT_EQ(outcome.exit_code, 1);
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err, "vandrel-release: " + text + "\n");
        EXPECT_EQ(everything_in(tree_), before_);
    }

    Files before_;
};

TEST_F(RefusedReleases, a_folder_that_the_helper_would_not_install_is_refused_in_the_helpers_words) {
    const std::tuple<Files, std::string, std::string> table[] = {
        {{{"readme.txt", ""}}, "", "readme.txt: Caminho nao gerenciado no manifesto."},
        {{{"data/a\nb", ""}}, "", "data/a\\x0Ab: Caminho nao gerenciado no manifesto."},
        {{{"data/\xC3\x28", ""}}, "", "data/\\xC3(: Caminho nao gerenciado no manifesto."},
        {{{"Data/A.png", ""}, {"data/a.PNG", ""}}, "", "data/a.PNG: Caminho repetido no manifesto."},
        {{{"Data/b", ""}, {"data/b/c", ""}}, "", "data/b/c: Arquivo conflita com diretorio."},
        {{{"DATA/b/c", ""}, {"data/b", ""}, {"data/d", ""}}, "", "data/b: Arquivo conflita com diretorio."},
        {{}, "init.lua", "brindler_dx_x64.exe: Manifesto sem init.lua ou backend selecionado."},
        {{{"data/a", ""}}, "brindler_dx_x64.exe", "the folder holds no client executable"}};
    for (const auto& [added, removed, text] : table) {
        Files client = smallest_client();
        client.insert(added.begin(), added.end());
        client.erase(removed);
        make_folder(client);
        expect_refusal("6", {}, text);
    }
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

TEST_F(RefusedReleases, only_plain_files_and_folders_are_taken) {
    const std::pair<std::function<void(const fs::path&)>, std::string> table[] = {
        {[](const fs::path& at) { fs::create_symlink("nowhere", at); }, "a symbolic link cannot be part of a release"},
        {[](const fs::path& at) { ::mkfifo(at.c_str(), 0600); }, "neither a file nor a folder"}};
    fs::create_directories(folder_ / "data");
    for (const auto& [make, text] : table) {
        make(folder_ / "data/odd");
        expect_refusal("6", {}, "data/odd: " + text);
        fs::remove(folder_ / "data/odd");
    }
    make_folder({});
    expect_refusal("6", {}, folder_.string() + " is not a folder");
}

TEST_F(RefusedReleases, numbers_channels_and_keys_are_checked) {
    const fs::path key = top_ / "key.pem";
    expect_refusal("0", {}, "Release vazia ou invalida.");
    expect_refusal("6", {"--arch", "32"}, "there is no channel 32; the only one is 64");
    const vandrel_release::Key small = vandrel_release::make_rsa_key(2048);
    const std::pair<std::string, std::string> table[] = {
        {vandrel_release::private_pem(small), " is no RSA key of 3072 bits with a public exponent of 3 bytes"},
        {vandrel_release::public_pem(small), " holds no unencrypted private key in PEM"},
        {"", " holds no unencrypted private key in PEM"}};
    for (const auto& [pem, text] : table) {
        write(key, pem);
        const Outcome outcome = run({"publish", "--folder", folder_.string(), "--tree", tree_.string(), "--release",
                                     "6", "--key", key.string()});
        EXPECT_EQ(outcome.err, "vandrel-release: " + key.string() + text + "\n");
        EXPECT_EQ(everything_in(tree_), before_);
    }
}

TEST_F(RefusedReleases, a_wrong_command_line_is_a_usage_error_of_one_line) {
    const std::pair<std::vector<std::string>, std::string> table[] = {
        {{}, "keygen, publish or serve is required"},
        {{"sign"}, "The following argument was not expected: sign"},
        {{"keygen", "--public", "x"}, "--private is required"},
        {{"publish", "--folder", "a", "--tree", "b", "--key", "c", "--release", "4294967296"},
         "Could not convert: --release = 4294967296"},
        {{"serve", "--tree", "a"}, "--certificate or --make-certificate is required"},
        {{"serve", "--tree", "a", "--certificate", "b"}, "--certificate requires --certificate-key"}};
    for (const auto& [arguments, text] : table) {
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.err, "vandrel-release: " + text + "\n");
        EXPECT_EQ(outcome.exit_code, 2) << text;
    }
    EXPECT_EQ(run({"publish", "--help"}).exit_code, 0);
}

}  // namespace
}  // namespace release_test
