// The command line: what is wrong with it, where options come from, and how it helps.
#include "release_test.h"

namespace release_test {
namespace {

class CommandLine : public ReleaseTest {};

TEST_F(CommandLine, a_wrong_one_is_a_usage_error_of_one_line) {
    const std::string config = (top_ / "options").string();
    write(config, "[publish]\nfoldr = \"a\"\n");
    write(config + ".nested", "[publish.a]\n");
    write(config + ".large", "[publish]\n" + std::string(65527, '#'));
    const std::pair<std::vector<std::string>, std::string> table[] = {
        {{}, "a command (see --help) is required"},
        {{"sign"}, "The following argument was not expected: sign"},
        {{"sign\n\x1B[2J"}, "The following argument was not expected: sign \\x1B[2J"},
        {{"help", "sign"}, "there is no command sign"},
        {{"keygen", "--public", "x"}, "--private is required"},
        {{"publish", "--folder", "a", "--release", "1", "--tree", "b"}, "--key or --unsigned is required"},
        {{"publish", "--folder", "a", "--release", "1", "--tree", "b", "--unsigned", "c"},
         "--unsigned requires --public"},
        {{"diff", "a"}, "after is required"},
        {{"verify", "--manifest", "a", "--folder", "b"}, "--key is required"},
        {{"attach-signature", "--tree", "a", "--release", "1", "--signature", "b"}, "--public is required"},
        {{"serve", "--tree", "a"}, "--certificate or --make-certificate is required"},
        {{"serve", "--tree", "a", "--certificate", "b"}, "--certificate requires --certificate-key"},
        {{"serve", "--tree", "a", "--make-certificate", "b", "--fail", "404"},
         "--fail 404: see vandrel-release serve --help"},
        {{"publish", "--config", config}, "INI was not able to parse publish.foldr"},
        {{"publish", "--config", config + ".nested"}, "INI was not able to parse publish.a.++"},
        {{"publish", "--config", config + ".large"}, "the file of options is larger than 65536 bytes"},
        {{"publish", "--config", config + ".none"}, config + ".none was not readable (missing?)"}};
    for (const auto& [arguments, text] : table) {
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.err, "vandrel-release: " + text + "\n");
        EXPECT_EQ(outcome.exit_code, 2) << text;
    }
}

TEST_F(CommandLine, options_come_from_a_file_too_and_what_is_typed_goes_before) {
    make_folder(smallest_client());
    write(folder_ / "a.txt", ""), write(folder_ / "b.txt", "");
    const std::string config = (top_ / "options").string();
    write(config, "[publish]\nfolder = \"" + folder_.string() + "\"\ntree = \"" + tree_.string() +
                      "\"\nrelease = 1\nkey = \"" + private_key().string() +
                      "\"\nskip = [\"a.txt\", \"b.txt\"]\nwithout-helper = true\nallow-development-key = "
                      "true\n\n[serve]\nport = 0\n");
    const std::string skipped = "skipped a.txt\nskipped b.txt\npublished release ";
    EXPECT_EQ(run({"publish", "--config", config}).out, skipped + "1: 2 files, 15 bytes, manifest 513 bytes\n");
    EXPECT_EQ(run({"--config", config, "publish", "--release", "2"}).out,
              skipped + "2: 2 files, 15 bytes, manifest 513 bytes\n");
}

TEST_F(CommandLine, it_tells_its_version_its_commands_and_its_exit_codes) {
    EXPECT_EQ(run({"--version"}).out, "vandrel-release 1.0.0\n");
    const Outcome help = run({"help"});
    EXPECT_EQ(help.exit_code, 0);
    EXPECT_EQ(help.out, run({"--help"}).out);
    EXPECT_NE(help.out.find("\n  4  verify: the helper would refuse"), std::string::npos) << help.out;
    for (const auto& keygen_help : {run({"help", "keygen"}).out, run({"keygen", "--help"}).out}) {
        EXPECT_TRUE(
            keygen_help.starts_with("Make the key pair that signs releases: RSA, 3072 bits, PEM\n"
                                    "Usage: vandrel-release keygen [OPTIONS]\n"));
    }
}

}  // namespace
}  // namespace release_test
