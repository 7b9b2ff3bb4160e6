// The worked example of docs/publishing.md is a real manifest, and its commands do what it says.
#include <cstdlib>
#include <sstream>

#include "release/manifest_format.h"
#include "release_test.h"

namespace release_test {
namespace {

// The bytes of the one hex dump in the guide: lines of "OFFSET: 16 bytes  text".
std::string dumped_bytes(const std::string& guide) {
    std::istringstream lines(guide);
    std::string bytes;
    for (std::string line; std::getline(lines, line);) {
        if (line.size() < 10 || line[8] != ':' || line.find_first_not_of("0123456789abcdef") != 8) continue;
        std::istringstream values(line.substr(10, 48));
        for (unsigned value = 0; values >> std::hex >> value;) bytes += static_cast<char>(value);
    }
    return bytes;
}

// The commands in the code blocks beneath a heading, each in one line; those with something to fill in are left out.
std::vector<std::string> commands_beneath(const std::string& guide, const std::string& heading) {
    std::istringstream lines(guide.substr(guide.find("\n" + heading + "\n") + heading.size() + 2));
    std::vector<std::string> commands;
    std::string command;
    for (std::string line; std::getline(lines, line) && !line.starts_with("#");) {
        if (command.empty() && !line.starts_with("vandrel-release ") && !line.starts_with("openssl ")) continue;
        command += line.ends_with("\\") ? line.substr(0, line.size() - 1) : line;
        if (line.ends_with("\\")) continue;
        if (command.find("...") == std::string::npos) commands.push_back(command);
        command.clear();
    }
    return commands;
}

class PublishingGuide : public ReleaseTest {
 protected:
    PublishingGuide() : before_(fs::current_path()) { fs::current_path(top_); }
    ~PublishingGuide() override { fs::current_path(before_); }

    void expect_commands_to_work(const std::string& heading) const {
        const std::vector<std::string> commands = commands_beneath(guide_, heading);
        EXPECT_FALSE(commands.empty()) << heading;
        for (const std::string& command : commands) EXPECT_EQ(result_of(command), "") << command;
    }
    // Empty if it ends with 0.
    static std::string result_of(const std::string& command) {
        if (command.starts_with("openssl")) return std::system(command.c_str()) == 0 ? "" : "failed";
        std::istringstream words(command.substr(command.find(' ')));
        std::vector<std::string> arguments;
        for (std::string word; words >> word;) arguments.push_back(word);
        if (arguments.front() == "publish") arguments.emplace_back("--allow-development-key");
        if (arguments.front() == "keygen") arguments.emplace_back("--unencrypted");
        const Outcome outcome = run(arguments);
        return outcome.exit_code == 0 ? "" : outcome.err + outcome.out;
    }
    // The development key under these names.
    static void copy_key(const char* private_name, const char* public_name) {
        const fs::path key = VANDREL_DEVELOPMENT_KEY;
        fs::copy(key, private_name, fs::copy_options::overwrite_existing);
        fs::copy(fs::path(key).replace_filename("development_public.pem"), public_name,
                 fs::copy_options::overwrite_existing);
    }

    fs::path before_;
    fs::path root_ = fs::path(VANDREL_DEVELOPMENT_KEY).parent_path().parent_path();
    std::string guide_ = read(root_ / "docs/publishing.md");
};

TEST_F(PublishingGuide, its_commands_lead_from_a_key_to_a_release_that_is_live_and_to_another_key) {
    Files client = smallest_client();
    client["Vandrel Updater.exe"] = helper_program();  // it holds the development key
    make_folder(client);
    expect_commands_to_work("## Once: the key pair");
    fs::create_directory("made");
    for (const char* name : {"release_private.pem", "release_public.pem"}) fs::rename(name, fs::path("made") / name);
    copy_key("release_private.pem", "release_public.pem");
    for (const char* heading :
         {"## Each release", "### With a key that stays in a safe", "## Going live", "## Looking and comparing"}) {
        expect_commands_to_work(heading);
    }
    EXPECT_EQ(read("tree/64/current"), "42\n");  // the guide's brake has been pulled

    fs::remove_all("tree");
    copy_key("new_private.pem", "new_public.pem");
    for (const char* name : {"release_private.pem", "release_public.pem"}) fs::rename(fs::path("made") / name, name);
    expect_commands_to_work("### Changing the key");
    EXPECT_EQ(accepted_entries(read("new-tree/64/releases/50/manifest.bin"), 50).size(), 3U);
    EXPECT_NE(read("tree/64/releases/50/public.pem"), read("new-tree/64/releases/50/public.pem"));
}

TEST_F(PublishingGuide, the_example_is_what_the_tool_signs_and_the_helper_accepts_it) {
    const std::string example = dumped_bytes(guide_);
    make_folder({{"brindler_dx_x64.exe", "MZ"}, {"init.lua", "print(\"oi\")\n"}});
    ASSERT_EQ(publish("2").exit_code, 0);
    const std::string made = read(tree_ / "64/releases/2/manifest.bin");
    ASSERT_EQ(example.size(), made.size());
    const std::size_t unsalted = made.size() - vandrel_release::kSignatureBytes;
    EXPECT_EQ(example.substr(0, unsalted), made.substr(0, unsalted));
    EXPECT_EQ(accepted_entries(example, 2).size(), 2U);
}

}  // namespace
}  // namespace release_test
